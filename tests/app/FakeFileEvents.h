#pragma once

#include <condition_variable>
#include <mutex>

#include "Foundation/FileEvents.h"

namespace ledgerfern {

/// Events that a test makes; every spell after them is a quiet one, and takes no time.
class FakeFileEvents : public FileEvents {
public:
    Outcome wait(std::optional<double> seconds) override {
        std::unique_lock lock(mutex_);
        if (!seconds) changed_.wait(lock, [this] { return isStopped_ || events_ > 0; });
        if (isStopped_) return Outcome::stopped;
        if (events_ == 0) return Outcome::timeout;
        --events_;
        return Outcome::event;
    }
    void stop() override {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        changed_.notify_all();
    }
    void happen() {
        const std::lock_guard lock(mutex_);
        ++events_;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int events_ = 0;
    bool isStopped_ = false;
};

}  // namespace ledgerfern
