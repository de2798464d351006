#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>

#include "Application/ThreadWorkers.h"
#include "Foundation/Check.h"
#include "Services/WatchService.h"
#include "app/FakeFileEvents.h"
#include "app/FakeMainLoop.h"

namespace ledgerfern {
namespace {

/// While this lives, the system has no thread for this process: none with the stack that it wants for each.
class NoThreads {
public:
    NoThreads() {
        check(::pthread_getattr_default_np(&before_) == 0, "no defaults");
        pthread_attr_t huge;
        check(::pthread_getattr_default_np(&huge) == 0, "no defaults");
        check(::pthread_attr_setstacksize(&huge, std::size_t{1} << 46) == 0, "no such stack");
        check(::pthread_setattr_default_np(&huge) == 0, "no such defaults");
        ::pthread_attr_destroy(&huge);
    }
    ~NoThreads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t before_{};
};

TEST(WithoutThreads, theTestMakesSense) {
    const NoThreads none;
    EXPECT_THROW(std::thread([] {}), std::system_error);
}

TEST(WithoutThreads, whoStartsWorkDoesIt) {
    ThreadWorkers workers;
    std::thread::id doer;
    {
        const NoThreads none;
        workers.start(WorkPriority::utility, [&] { doer = std::this_thread::get_id(); });
    }
    EXPECT_EQ(doer, std::this_thread::get_id());
    EXPECT_TRUE(workers.waitUntilIdle(std::chrono::milliseconds(0)));
}

TEST(WithoutThreads, nothingIsWatchedAndNobodyWaits) {
    FakeMainLoop loop;
    int sources = 0;
    const auto source = [&](const std::vector<std::string>&) {
        ++sources;
        return std::make_unique<FakeFileEvents>();
    };
    WatchService watcher({"/a"}, [] {}, loop, source);
    {
        const NoThreads none;
        watcher.start();
    }
    watcher.progress()->waitUntilSettled();
    EXPECT_EQ(sources, 0);
}

}  // namespace
}  // namespace ledgerfern
