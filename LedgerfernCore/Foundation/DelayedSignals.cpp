#include "Foundation/DelayedSignals.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace ledgerfern {

namespace {

constexpr std::array endingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

/// The work of all threads that the end waits for.
struct Work {
    std::mutex mutex;
    std::condition_variable ended;
    int count = 0;  // guarded by mutex, as is the next
    bool isEndAwaited = false;
};

Work& work() {
    static Work& one = *new Work;  // threads may outlive `main`
    return one;
}

}  // namespace

DelayedSignals::DelayedSignals() {
    const std::lock_guard lock(work().mutex);
    ++work().count;
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : endingSignals)
        sigaddset(&ending, signal);
    ::pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

DelayedSignals::~DelayedSignals() {
    {
        const std::lock_guard lock(work().mutex);
        if (--work().count == 0) work().ended.notify_all();
    }
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool DelayedSignals::areWaiting() const {
    {
        const std::lock_guard lock(work().mutex);
        if (work().isEndAwaited) return true;
    }
    sigset_t pending;
    if (::sigpending(&pending) != 0) return false;
    return std::any_of(endingSignals.begin(), endingSignals.end(), [&](int signal) {
        return sigismember(&pending, signal) == 1 && sigismember(&before_, signal) == 0;
    });
}

void endProcess(int status) {
    std::unique_lock lock(work().mutex);
    work().isEndAwaited = true;
    work().ended.wait(lock, [] { return work().count == 0; });
    std::_Exit(status);  // with the lock in hand: nobody begins anew
}

}  // namespace ledgerfern
