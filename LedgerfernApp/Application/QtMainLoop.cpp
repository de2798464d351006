#include "Application/QtMainLoop.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <array>
#include <chrono>
#include <utility>

#include "Foundation/Check.h"

// Qt's own queues between threads would do as well, but the thread sanitizer can't follow them.

namespace ledgerfern {

namespace {

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace

QtMainLoop::QtMainLoop() {
    std::array<int, 2> ends{};
    check(::pipe(ends.data()) == 0, "no pipe can be made");
    reading_ = FileDescriptor(ends[0]);
    writing_ = FileDescriptor(ends[1]);
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    notifier_ = std::make_unique<QSocketNotifier>(reading_.number(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, &context_, [this] { runPosted(); });
}

QtMainLoop::~QtMainLoop() = default;

void QtMainLoop::post(Work work) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
    if (posted_.size() > 1) return;
    constexpr char wake = 0;
    check(::write(writing_.number(), &wake, 1) == 1, "the main thread can't be woken");
}

/// What is posted meanwhile waits for the loop's next turn.
void QtMainLoop::runPosted() {
    std::deque<Work> posted;
    {
        const std::lock_guard lock(mutex_);
        char wake = 0;
        if (::read(reading_.number(), &wake, 1) != 1) return;  // woken for nothing
        posted.swap(posted_);
    }
    for (const Work& work : posted)
        work();
}

void QtMainLoop::after(double seconds, Work work) {
    QTimer::singleShot(milliseconds(seconds), &context_, std::move(work));
}

void QtMainLoop::every(double seconds, Work work) {
    auto* timer = new QTimer(&context_);
    QObject::connect(timer, &QTimer::timeout, &context_, std::move(work));
    timer->start(milliseconds(seconds));
}

}  // namespace ledgerfern
