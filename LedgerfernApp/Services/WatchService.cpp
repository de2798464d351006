#include "Services/WatchService.h"

#include <system_error>
#include <utility>

namespace ledgerfern {

WatchService::Source WatchService::platformSource() {
    return [](const std::vector<std::string>& paths) { return fileEvents(paths); };
}

void WatchService::Progress::waitUntilSettled() const {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isSettled_; });
}

void WatchService::Progress::settle() {
    const std::lock_guard lock(mutex_);
    isSettled_ = true;
    changed_.notify_all();
}

WatchService::WatchService(std::vector<std::string> paths, std::function<void()> onChange, MainLoop& loop,
                           Source source)
    : paths_(std::move(paths)),
      source_(std::move(source)),
      loop_(loop),
      onChange_(std::make_shared<std::function<void()>>(std::move(onChange))) {}

WatchService::~WatchService() {
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        if (events_) events_->stop();
    }
    if (queue_.joinable()) queue_.join();
    progress_->settle();
}

void WatchService::start() {
    if (paths_.empty()) return progress_->settle();
    try {
        queue_ = std::thread([this] { watch(); });
    } catch (const std::system_error&) {
        progress_->settle();  // without a thread there are no events
    }
}

void WatchService::watch() {
    FileEvents* events = opened();
    progress_->settle();
    if (events) runDebounced(*events, [this] { tell(); });
}

/// To list deep folders takes a while. Null where there are no events, or nobody wants them any more.
FileEvents* WatchService::opened() {
    auto events = source_(paths_);
    const std::lock_guard lock(mutex_);
    events_ = std::move(events);
    return isStopped_ ? nullptr : events_.get();
}

void WatchService::tell() {
    loop_.post([weak = std::weak_ptr(onChange_)] {
        if (const auto onChange = weak.lock()) (*onChange)();
    });
}

}  // namespace ledgerfern
