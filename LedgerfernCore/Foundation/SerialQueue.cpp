#include "Foundation/SerialQueue.h"

#include "Foundation/Check.h"

namespace ledgerfern {

std::uint64_t SerialQueue::waitingCount() const {
    const std::lock_guard lock(mutex_);
    const std::uint64_t running = owner_ == std::thread::id() ? 0 : 1;
    return nextTicket_ - served_ - running;
}

void SerialQueue::begin() {
    std::unique_lock lock(mutex_);
    check(owner_ != std::this_thread::get_id(), "work on a serial queue waits for itself");
    const std::uint64_t ticket = nextTicket_++;
    turnEnded_.wait(lock, [&] { return served_ == ticket; });
    owner_ = std::this_thread::get_id();
}

void SerialQueue::end() {
    {
        const std::lock_guard lock(mutex_);
        owner_ = {};
        ++served_;
    }
    turnEnded_.notify_all();
}

}  // namespace ledgerfern
