#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Application/MainLoop.h"
#include "Foundation/FileEvents.h"

namespace ledgerfern {

/// Tells, once after each quiet spell, that something below some folders has changed. Main thread.
class WatchService {
public:
    using Source = std::function<std::unique_ptr<FileEvents>(const std::vector<std::string>&)>;

    /// The platform's events.
    static Source platformSource();

    /// How far the watching is; any thread may wait for it.
    class Progress {
    public:
        /// Returns once every later change will be seen, or it is clear that none ever will.
        void waitUntilSettled() const;

    private:
        friend class WatchService;
        void settle();

        mutable std::mutex mutex_;
        mutable std::condition_variable changed_;
        bool isSettled_ = false;  // guarded by mutex_
    };

    /// `onChange` is called on the main thread, and not after the end of this object. `loop` must outlive it.
    WatchService(std::vector<std::string> paths, std::function<void()> onChange, MainLoop& loop,
                 Source source);
    ~WatchService();
    WatchService(const WatchService&) = delete;
    WatchService& operator=(const WatchService&) = delete;

    /// Begins to watch, on a thread of its own. Without folders, or where the platform gives no events
    /// or no thread, nothing is ever told, and nothing is said of that.
    void start();
    std::shared_ptr<const Progress> progress() const { return progress_; }

private:
    void watch();
    FileEvents* opened();
    void tell();

    const std::vector<std::string> paths_;
    const Source source_;
    MainLoop& loop_;
    const std::shared_ptr<std::function<void()>> onChange_;  // what is posted holds it weakly
    const std::shared_ptr<Progress> progress_ = std::make_shared<Progress>();
    std::mutex mutex_;
    std::unique_ptr<FileEvents> events_;  // guarded by mutex_, as is the next
    bool isStopped_ = false;
    std::thread queue_;
};

}  // namespace ledgerfern
