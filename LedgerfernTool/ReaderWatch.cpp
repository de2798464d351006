#include "ReaderWatch.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "Foundation/DelayedSignals.h"

namespace ledgerfern {

ReaderWatch::ReaderWatch(std::optional<int> descriptor, std::function<void()> onGone)
    : onGone_(std::move(onGone)) {
    std::array<int, 2> ends{};
    if (!descriptor || ::pipe(ends.data()) != 0) return;
    wakened_ = FileDescriptor(ends[0]);
    waker_ = FileDescriptor(ends[1]);
    const DelayedSignals delayed;  // the thread inherits that: signals go to the main thread
    try {
        thread_ = std::thread([this, number = *descriptor] { run(number); });
    } catch (const std::system_error&) {
        return;  // then it is noticed at the next writing
    }
}

ReaderWatch::~ReaderWatch() {
    if (!thread_.joinable()) return;
    waker_ = FileDescriptor();
    thread_.join();
}

void ReaderWatch::run(int descriptor) const {
    // That a reader has gone is told without being asked for.
    std::array<pollfd, 2> waiting{{{descriptor, 0, 0}, {wakened_.number(), POLLIN, 0}}};
    while (::poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
    }
    if ((waiting[0].revents & (POLLERR | POLLHUP)) != 0) onGone_();
}

}  // namespace ledgerfern
