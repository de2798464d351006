#include "Foundation/DelayedSignals.h"

#include <initializer_list>

namespace ledgerfern {

DelayedSignals::DelayedSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
        sigaddset(&ending, signal);
    ::pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

DelayedSignals::~DelayedSignals() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace ledgerfern
