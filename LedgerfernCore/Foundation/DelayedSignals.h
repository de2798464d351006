#pragma once

#include <csignal>

namespace ledgerfern {

/// While one of these lives, the signals that ask the program to end (hang-up, interrupt, quit, terminate)
/// wait for the thread that made it, and for threads that it starts meanwhile; and so does `endProcess`. For
/// short work that must not be left half done.
class DelayedSignals {
public:
    DelayedSignals();
    ~DelayedSignals();
    DelayedSignals(const DelayedSignals&) = delete;
    DelayedSignals& operator=(const DelayedSignals&) = delete;

    /// True where `endProcess` waits, or a signal that didn't before: longer work had better be given up.
    bool areWaiting() const;

private:
    sigset_t before_{};
};

/// Ends the process as it stands, without destructors and whatever its threads are at, but for those that
/// have a `DelayedSignals`.
[[noreturn]] void endProcess(int status);

}  // namespace ledgerfern
