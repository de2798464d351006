#include "Services/WatchService.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "FakeFileEvents.h"
#include "FakeMainLoop.h"

namespace ledgerfern {
namespace {

class WatchServiceTest : public testing::Test {
protected:
    WatchService::Source source() {
        return [this](const std::vector<std::string>&) {
            auto made = std::make_unique<FakeFileEvents>();
            events = made.get();
            return made;
        };
    }
    std::unique_ptr<WatchService> service(std::vector<std::string> paths, WatchService::Source source) {
        return std::make_unique<WatchService>(
            std::move(paths),
            [this] {
                ++changes;
                thread = std::this_thread::get_id();
            },
            loop, std::move(source));
    }

    FakeMainLoop loop;
    FakeFileEvents* events = nullptr;
    int changes = 0;
    std::thread::id thread;
};

TEST_F(WatchServiceTest, tellsOnTheMainThread) {
    const auto watcher = service({"/a", "/b"}, source());
    watcher->start();
    watcher->progress()->waitUntilSettled();
    events->happen();
    EXPECT_EQ(changes, 0);
    loop.waitForPosted();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(WatchServiceTest, neverTellsAnythingWithoutFolders) {
    const auto watcher = service({}, source());
    watcher->start();
    watcher->progress()->waitUntilSettled();
    EXPECT_EQ(events, nullptr);
    EXPECT_EQ(loop.runPosted(), 0);
}

TEST_F(WatchServiceTest, doesWithoutEventsOfThePlatform) {
    const auto watcher = service({"/a"}, [](const auto&) { return nullptr; });
    watcher->start();
    watcher->progress()->waitUntilSettled();
    EXPECT_EQ(loop.runPosted(), 0);
}

TEST_F(WatchServiceTest, saysNothingAfterItsEnd) {
    auto watcher = service({"/a"}, source());
    watcher->start();
    watcher->progress()->waitUntilSettled();
    events->happen();
    loop.waitUntilPosted();
    watcher.reset();
    loop.runPosted();
    EXPECT_EQ(changes, 0);
}

TEST_F(WatchServiceTest, endsWhileThePlatformIsStillListing) {
    std::latch isListing{1}, goOn{1};
    auto watcher = service({"/a"}, [&](const auto& paths) {
        isListing.count_down();
        goOn.wait();
        return source()(paths);
    });
    watcher->start();
    isListing.wait();
    std::thread end([&] { watcher.reset(); });
    goOn.count_down();
    end.join();
    EXPECT_EQ(loop.runPosted(), 0);
}

TEST_F(WatchServiceTest, keepsNobodyWaitingWhoAsksLate) {
    auto watcher = service({"/a"}, source());
    const auto progress = watcher->progress();
    watcher.reset();
    progress->waitUntilSettled();
}

}  // namespace
}  // namespace ledgerfern
