#pragma once

#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <functional>
#include <memory>

#include "Foundation/FileDescriptor.h"

namespace ledgerfern {

/// As long as it lives, the signals that ask the program to end (hang-up, interrupt, terminate) do it in an
/// orderly way: `onSignal` is called by the event loop. A signal that was ignored stays so, such as hang-up
/// under nohup. Main thread; one at a time.
class EndSignals {
public:
    explicit EndSignals(std::function<void()> onSignal);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

private:
    void readSignals();

    std::function<void()> onSignal_;
    FileDescriptor heard_;
    FileDescriptor told_;  // what the handler writes to
    std::unique_ptr<QSocketNotifier> notifier_;
    std::array<struct sigaction, 3> before_{};
};

}  // namespace ledgerfern
