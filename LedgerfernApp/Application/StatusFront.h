#pragma once

#include <QObject>
#include <optional>

#include "Application/StatusMenu.h"

namespace ledgerfern {

class AppState;

/// Keeps the status item at what the application's state says. Main thread.
class StatusFront : public QObject {
public:
    /// `state` and `item` must outlive it. `quit` ends the application.
    StatusFront(AppState& state, StatusItem& item, std::function<void()> quit);

private:
    void update();

    AppState& state_;
    StatusItem& item_;
    const StatusMenuActions actions_;
    std::optional<StatusMenuContent> shown_;
};

}  // namespace ledgerfern
