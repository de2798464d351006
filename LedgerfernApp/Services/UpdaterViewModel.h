#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Services/UpdateFramework.h"

namespace ledgerfern {

class MainLoop;

/// Software updates, as the screens see them: whether one waits for the user, and the check that the user
/// asks for. Made once, at the start. Main thread.
class UpdaterViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool updateAvailable READ updateAvailable NOTIFY updateAvailableChanged)
    Q_PROPERTY(std::optional<double> lastCheck READ lastCheck CONSTANT)

public:
    using MakeFramework =
        std::function<std::unique_ptr<UpdateFramework>(bool startsUpdater, std::function<void()> onAlert)>;

    /// Starts looking for updates, unless `executable`, the program's own path, is that of a developer build:
    /// then it says so on the standard output. `loop` must outlive the framework.
    UpdaterViewModel(const std::string& executable, MainLoop& loop,
                     const MakeFramework& makeFramework = platformUpdateFramework);

    /// An update is known and waits for the user. Stays true once it is.
    bool updateAvailable() const { return updateAvailable_; }
    /// When was looked for updates last, in seconds since the Unix epoch. Nothing tells it, so it is absent.
    std::optional<double> lastCheck() const { return std::nullopt; }
    /// Whether the user may ask for a check now; never in a developer build.
    Q_INVOKABLE bool canCheckNow() const;
    /// Starts the check that the user asked for.
    Q_INVOKABLE void checkForUpdates();

Q_SIGNALS:
    void updateAvailableChanged();

private:
    void noteUpdate();

    bool isDeveloperBuild_;
    bool updateAvailable_ = false;
    std::unique_ptr<UpdateFramework> framework_;
};

}  // namespace ledgerfern
