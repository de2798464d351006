#include "Application/ThreadWorkers.h"

#include <system_error>
#include <thread>
#include <utility>

#include "Services/ThreadPriority.h"

namespace ledgerfern {

void ThreadWorkers::start(WorkPriority priority, std::function<void()> work) {
    {
        const std::lock_guard lock(running_->mutex);
        ++running_->count;
    }
    const auto shared = std::make_shared<std::function<void()>>(std::move(work));
    try {
        std::thread([priority, running = running_, shared] {
            setThreadPriority(priority);
            run(*shared, *running);
        }).detach();
    } catch (const std::system_error&) {
        run(*shared, *running_);  // late is better than never
    }
}

void ThreadWorkers::run(std::function<void()>& work, Running& running) {
    work();
    work = nullptr;  // what it holds ends before it counts as done
    const std::lock_guard lock(running.mutex);
    if (--running.count == 0) running.ended.notify_all();
}

bool ThreadWorkers::waitUntilIdle(std::chrono::milliseconds patience) {
    std::unique_lock lock(running_->mutex);
    return running_->ended.wait_for(lock, patience, [this] { return running_->count == 0; });
}

}  // namespace ledgerfern
