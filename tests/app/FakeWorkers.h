#pragma once

#include <deque>
#include <functional>
#include <utility>

#include "Application/Workers.h"

namespace ledgerfern {

/// Workers that start nothing by themselves.
class FakeWorkers : public Workers {
public:
    struct Task {
        WorkPriority priority = WorkPriority::utility;
        std::function<void()> work;
    };

    void start(WorkPriority priority, std::function<void()> work) override {
        waiting.push_back({priority, std::move(work)});
    }
    /// Runs what has waited longest, or is at `index`.
    void run(std::size_t index = 0) {
        const Task task = std::move(waiting.at(index));
        waiting.erase(waiting.begin() + static_cast<std::ptrdiff_t>(index));
        task.work();
    }

    std::deque<Task> waiting;
};

}  // namespace ledgerfern
