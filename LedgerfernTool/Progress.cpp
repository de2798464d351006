#include "Progress.h"

#include <string>
#include <system_error>

#include "Foundation/DelayedSignals.h"

namespace ledgerfern {

namespace {

constexpr std::string_view text = "Reading session logs …";
constexpr std::size_t textWidth = 22;

}  // namespace

Progress::Progress(Output& output, std::chrono::milliseconds delay) : output_(output), delay_(delay) {
    if (!output_.isTerminal()) return;
    const DelayedSignals delayed;  // the thread inherits that: signals go to the main thread
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return;  // where no thread is to be had, the scan goes on without the line
    }
}

Progress::~Progress() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

void Progress::run() {
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, delay_, [this] { return hasEnded_; })) return;
    // A terminal that has gone away is noticed where the result is written.
    static_cast<void>(output_.write(text));
    ended_.wait(lock, [this] { return hasEnded_; });
    static_cast<void>(output_.write("\r" + std::string(textWidth, ' ') + "\r"));
}

}  // namespace ledgerfern
