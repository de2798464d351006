#include "Foundation/DelayedSignals.h"

#include <algorithm>
#include <array>

namespace ledgerfern {

namespace {

constexpr std::array endingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

}  // namespace

DelayedSignals::DelayedSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : endingSignals)
        sigaddset(&ending, signal);
    ::pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

DelayedSignals::~DelayedSignals() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool DelayedSignals::areWaiting() const {
    sigset_t pending;
    if (::sigpending(&pending) != 0) return false;
    return std::any_of(endingSignals.begin(), endingSignals.end(), [&](int signal) {
        return sigismember(&pending, signal) == 1 && sigismember(&before_, signal) == 0;
    });
}

}  // namespace ledgerfern
