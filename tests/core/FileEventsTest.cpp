#include "core/FileEventsFixture.h"

#include <array>
#include <chrono>
#include <thread>

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using test::never;
using test::patience;

using FileEventsTest = test::FileEventsFixture;

TEST_F(FileEventsTest, tellOfAppendedBytes) {
    write("root/a.jsonl", "one");
    watch();
    EXPECT_TRUE(isQuiet());
    append("root/a.jsonl", "two");
    EXPECT_TRUE(hasEvent());
    settle();
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, tellOfBytesWhileTheFileStaysOpen) {
    watch();
    std::ofstream file(path("root/a.jsonl"), std::ios::app);
    for (int i = 0; i < 3; ++i) {
        settle();
        file << "line" << std::flush;
        EXPECT_TRUE(hasEvent());
    }
}

TEST_F(FileEventsTest, tellOfEveryKindOfChange) {
    write("root/a.jsonl", "one");
    write("outside", "two");
    watch();
    const std::vector<std::function<void()>> changes = {
        [&] { write("root/new.jsonl", ""); },
        [&] { fs::resize_file(path("root/a.jsonl"), 0); },
        [&] { setModified("root/a.jsonl", 1'000'000, 0); },
        [&] { fs::permissions(path("root/a.jsonl"), fs::perms::owner_read); },
        [&] { move("root/a.jsonl", "root/b.jsonl"); },
        [&] { move("root/b.jsonl", "elsewhere"); },
        [&] { move("outside", "root/c.jsonl"); },
        [&] { remove("root/c.jsonl"); },
        [&] { makeFolder("root/d"); },
        [&] { link("nowhere", "root/link.jsonl"); },
        [&] { remove("root"); }};
    for (std::size_t i = 0; i < changes.size(); ++i) {
        settle();
        changes[i]();
        EXPECT_TRUE(hasEvent()) << i;
    }
}

TEST_F(FileEventsTest, tellOfNothingWhereFilesAreOnlyRead) {
    write("root/d/a.jsonl", "one");
    watch();
    EXPECT_EQ(read("root/d/a.jsonl"), "one");
    EXPECT_EQ(namesIn(path("root/d")).size(), 1u);
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, comeFromSeveralFoldersThoseInsideOthersIncluded) {
    write("root/sub/log.jsonl", "");
    write("other/log.jsonl", "");
    link(path("root/sub"), "link");
    events =
        fileEvents({path("nowhere"), path("root"), path("root/sub"), path("link"), path("other")}, never);
    ASSERT_TRUE(events);
    EXPECT_TRUE(follows("root/sub/log.jsonl"));
    EXPECT_TRUE(follows("other/log.jsonl"));
    write("root/sub/new/log.jsonl", "");
    EXPECT_TRUE(follows("root/sub/new/log.jsonl"));
    settle();
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, areNoneWhereThereIsNoFolder) {
    EXPECT_FALSE(fileEvents({}));
    EXPECT_FALSE(fileEvents({path("nowhere"), write("file", "")}));
}

TEST_F(FileEventsTest, areLeftOverFromWhatHappenedBetweenTwoWaits) {
    write("root/a.jsonl", "");
    watch();
    append("root/a.jsonl", "one");
    EXPECT_EQ(events->wait(0), Outcome::event);
    settle();
    EXPECT_EQ(events->wait(0), Outcome::timeout);
}

TEST_F(FileEventsTest, surviveMoreOfThemThanTheSystemKeeps) {
    std::size_t most = 0;
    if (!(std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most) || most > 200'000)
        GTEST_SKIP() << "this system doesn't tell how many events it keeps, or keeps too many";
    const std::array files = {write("root/d/0", ""), write("root/d/1", "")};
    watch();
    // Nobody reads them meanwhile. No two neighbours are alike, which would make one of them.
    for (std::size_t i = 0; i < most + 1; ++i)
        fs::permissions(files[i % 2], fs::perms::owner_all);
    // These are past what is kept.
    makeFolder("root/lost/deeper");
    move("root/d", "outside");
    EXPECT_TRUE(hasEvent());
    settle();
    write("root/lost/deeper/log.jsonl", "");
    EXPECT_TRUE(follows("root/lost/deeper/log.jsonl"));
    settle();
    write("outside/log.jsonl", "");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, endWhenTheyAreStopped) {
    watch();
    std::thread other([&] { events->stop(); });
    EXPECT_EQ(events->wait(std::nullopt), Outcome::stopped);
    other.join();
    write("root/a.jsonl", "");
    EXPECT_EQ(events->wait(patience), Outcome::stopped);
    EXPECT_EQ(events->wait(std::nullopt), Outcome::stopped);
    events->stop();
    EXPECT_EQ(events->wait(0), Outcome::stopped);
}

TEST_F(FileEventsTest, makeOneChangeOfWhatAnAgentWrites) {
    write("root/d/log.jsonl", "");
    watch();
    for (int i = 0; i < 100; ++i)
        append("root/d/log.jsonl", "line\n");
    const auto last = std::chrono::steady_clock::now();
    int calls = 0;
    runDebounced(*events, [&] {
        ++calls;
        EXPECT_GE(std::chrono::steady_clock::now() - last, std::chrono::milliseconds(1'500));
        EXPECT_EQ(events->wait(0), Outcome::timeout) << "one is left over";
        events->stop();
    });
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace ledgerfern
