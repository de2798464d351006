#include "Application/ThreadWorkers.h"

#include <thread>
#include <utility>

#include "Services/ThreadPriority.h"

namespace ledgerfern {

void ThreadWorkers::start(WorkPriority priority, std::function<void()> work) {
    {
        const std::lock_guard lock(running_->mutex);
        ++running_->count;
    }
    std::thread([priority, running = running_, work = std::move(work)]() mutable {
        setThreadPriority(priority);
        work();
        work = nullptr;  // what it holds ends before it counts as done
        const std::lock_guard lock(running->mutex);
        if (--running->count == 0) running->ended.notify_all();
    }).detach();
}

bool ThreadWorkers::waitUntilIdle(std::chrono::milliseconds patience) {
    std::unique_lock lock(running_->mutex);
    return running_->ended.wait_for(lock, patience, [this] { return running_->count == 0; });
}

}  // namespace ledgerfern
