#pragma once

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include "Application/MainLoop.h"

namespace ledgerfern {

/// A main loop that runs nothing by itself, and whose time passes when a test says so.
class FakeMainLoop : public MainLoop {
public:
    void post(Work work) override {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(work));
        somethingPosted_.notify_all();
    }
    void after(double seconds, Work work) override {
        timers_.push_back({now_ + seconds, 0, std::move(work)});
    }
    void every(double seconds, Work work) override {
        timers_.push_back({now_ + seconds, seconds, std::move(work)});
    }

    /// Runs what has been posted, and what that posts. Returns how much it was.
    int runPosted() {
        int count = 0;
        for (Work work = next(); work; work = next()) {
            work();
            ++count;
        }
        return count;
    }
    /// Takes what was posted first off the queue, for the test to run when it likes.
    Work takePosted() { return next(); }
    /// Waits for something that another thread posts, and runs it.
    void waitForPosted() {
        waitUntilPosted();
        runPosted();
    }
    void waitUntilPosted() {
        std::unique_lock lock(mutex_);
        somethingPosted_.wait(lock, [this] { return !posted_.empty(); });
    }
    /// Lets time pass: runs the timers that are due by then, in order.
    void pass(double seconds) {
        const double end = now_ + seconds;
        while (true) {
            const auto next = std::min_element(timers_.begin(), timers_.end(),
                                               [](const Timer& a, const Timer& b) { return a.due < b.due; });
            if (next == timers_.end() || next->due > end) break;
            now_ = next->due;
            const Work work = next->work;
            if (next->period > 0)
                next->due += next->period;
            else
                timers_.erase(next);
            work();
        }
        now_ = end;
    }
    std::size_t timerCount() const { return timers_.size(); }

private:
    struct Timer {
        double due = 0;
        double period = 0;  // 0: once
        Work work;
    };

    Work next() {
        const std::lock_guard lock(mutex_);
        if (posted_.empty()) return nullptr;
        Work work = std::move(posted_.front());
        posted_.pop_front();
        return work;
    }

    std::mutex mutex_;
    std::condition_variable somethingPosted_;
    std::deque<Work> posted_;
    std::vector<Timer> timers_;
    double now_ = 0;
};

}  // namespace ledgerfern
