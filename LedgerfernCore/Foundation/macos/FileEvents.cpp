#include "Foundation/FileEvents.h"

#include <CoreServices/CoreServices.h>
#include <dispatch/dispatch.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

// The system watches whole trees and calls back on a queue, where nothing is done but to wake whoever waits.

namespace ledgerfern {

namespace {

constexpr CFTimeInterval latency = 1.0;
constexpr FSEventStreamCreateFlags flags =
    kFSEventStreamCreateFlagNoDefer | kFSEventStreamCreateFlagFileEvents;

/// Null where memory is short.
CFMutableArrayRef newPathList(const std::vector<std::string>& folders) {
    CFMutableArrayRef list = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    if (list == nullptr) return nullptr;
    for (const std::string& folder : folders) {
        CFStringRef path = CFStringCreateWithFileSystemRepresentation(kCFAllocatorDefault, folder.c_str());
        if (path == nullptr) continue;
        CFArrayAppendValue(list, path);
        CFRelease(path);
    }
    return list;
}

/// The folders that are there, with links resolved: events bear the resolved paths.
std::vector<std::string> folderTargets(const std::vector<std::string>& folders) {
    std::vector<std::string> targets;
    for (const std::string& folder : folders) {
        std::error_code error;
        const auto target = std::filesystem::canonical(folder, error);
        if (!error && std::filesystem::is_directory(target, error)) targets.push_back(target);
    }
    return targets;
}

class StreamFileEvents final : public FileEvents {
public:
    explicit StreamFileEvents(const std::vector<std::string>& folders) {
        CFMutableArrayRef paths = newPathList(folders);
        if (paths == nullptr) return;
        FSEventStreamContext context{0, this, nullptr, nullptr, nullptr};
        stream_ = FSEventStreamCreate(kCFAllocatorDefault, &StreamFileEvents::onEvents, &context, paths,
                                      kFSEventStreamEventIdSinceNow, latency, flags);
        CFRelease(paths);
        if (stream_ == nullptr) return;
        FSEventStreamSetDispatchQueue(stream_, queue_);
        isRunning_ = FSEventStreamStart(stream_);
    }
    ~StreamFileEvents() override {
        if (isRunning_) FSEventStreamStop(stream_);
        if (stream_ != nullptr) {
            FSEventStreamInvalidate(stream_);
            FSEventStreamRelease(stream_);
        }
        // A call that has begun ends first.
        dispatch_sync_f(queue_, nullptr, [](void*) {});
        dispatch_release(queue_);
    }
    StreamFileEvents(const StreamFileEvents&) = delete;
    StreamFileEvents& operator=(const StreamFileEvents&) = delete;

    bool isRunning() const { return isRunning_; }

    Outcome wait(std::optional<double> seconds) override {
        std::unique_lock lock(mutex_);
        const auto isWoken = [this] { return hasEvent_ || isStopped_; };
        if (seconds)
            woken_.wait_for(lock, std::chrono::duration<double>(*seconds), isWoken);
        else
            woken_.wait(lock, isWoken);
        if (isStopped_) return Outcome::stopped;
        return std::exchange(hasEvent_, false) ? Outcome::event : Outcome::timeout;
    }

    void stop() override { wake(isStopped_); }

private:
    static void onEvents(ConstFSEventStreamRef, void* self, size_t, void*, const FSEventStreamEventFlags*,
                         const FSEventStreamEventId*) {
        StreamFileEvents& events = *static_cast<StreamFileEvents*>(self);
        events.wake(events.hasEvent_);
    }

    void wake(bool& reason) {
        const std::lock_guard lock(mutex_);
        reason = true;
        woken_.notify_one();
    }

    dispatch_queue_t queue_ = dispatch_queue_create("ledgerfern.fsevents", DISPATCH_QUEUE_SERIAL);
    FSEventStreamRef stream_ = nullptr;
    bool isRunning_ = false;
    std::mutex mutex_;
    std::condition_variable woken_;
    bool hasEvent_ = false;   // guarded by mutex_
    bool isStopped_ = false;  // guarded by mutex_
};

}  // namespace

// The stream has no limit that would leave anything to a slow look.
std::unique_ptr<FileEvents> fileEvents(const std::vector<std::string>& folders, double /*slowLook*/) {
    const auto targets = folderTargets(folders);
    if (targets.empty()) return nullptr;
    auto events = std::make_unique<StreamFileEvents>(targets);
    if (!events->isRunning()) return nullptr;
    return events;
}

}  // namespace ledgerfern
