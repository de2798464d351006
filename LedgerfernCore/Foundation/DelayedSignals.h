#pragma once

#include <csignal>

namespace ledgerfern {

/// While one of these lives, the signals that ask the program to end (hang-up, interrupt, quit, terminate)
/// wait for the thread that made it, and for threads that it starts meanwhile. For short work that must not
/// be left half done.
class DelayedSignals {
public:
    DelayedSignals();
    ~DelayedSignals();
    DelayedSignals(const DelayedSignals&) = delete;
    DelayedSignals& operator=(const DelayedSignals&) = delete;

    /// True where one of them waits that didn't before: longer work had better be given up.
    bool areWaiting() const;

private:
    sigset_t before_{};
};

}  // namespace ledgerfern
