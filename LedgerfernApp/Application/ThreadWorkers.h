#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "Application/Workers.h"

namespace ledgerfern {

/// Workers that are threads of the operating system, one for each piece of work; where the system has none to
/// spare, the thread that starts the work does it. What still runs when this object ends runs on by itself.
class ThreadWorkers : public Workers {
public:
    void start(WorkPriority priority, std::function<void()> work) override;

    /// Waits until nothing runs any more. False where that takes longer than `patience`.
    bool waitUntilIdle(std::chrono::milliseconds patience);

private:
    /// Outlives the workers' object, as its threads may.
    struct Running {
        std::mutex mutex;
        std::condition_variable ended;
        int count = 0;  // guarded by mutex
    };

    static void run(std::function<void()>& work, Running& running);

    std::shared_ptr<Running> running_ = std::make_shared<Running>();
};

}  // namespace ledgerfern
