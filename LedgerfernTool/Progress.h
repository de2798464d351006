#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string_view>
#include <thread>

#include "Output.h"

namespace ledgerfern {

/// A line on a terminal that says what takes so long. It appears once its object has lived for `delay`, and
/// is gone with it. Nothing is written where the output is no terminal.
class Progress {
public:
    explicit Progress(Output& output, std::chrono::milliseconds delay = std::chrono::milliseconds(500));
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void run();

    Output& output_;
    const std::chrono::milliseconds delay_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool hasEnded_ = false;  // guarded by mutex_
    std::thread thread_;     // not running where the output is no terminal
};

}  // namespace ledgerfern
