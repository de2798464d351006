#include "Foundation/FileEvents.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using Outcome = FileEvents::Outcome;

constexpr double patience = 30;  // seconds that an event may take
constexpr double never = 1e6;    // for a slow look that doesn't come while a test runs

class FileEventsTest : public FileFixture {
protected:
    void SetUp() override { makeFolder("root"); }

    /// Starts anew, with no event behind what has happened so far.
    void watch(double slowLook = never) {
        events = fileEvents({path("root")}, slowLook);
        ASSERT_TRUE(events);
    }
    bool hasEvent() const { return events->wait(patience) == Outcome::event; }
    /// Takes all events that there are.
    void settle() const {
        while (events->wait(0) == Outcome::event) {
        }
    }
    bool isQuiet() const { return events->wait(0.05) == Outcome::timeout; }
    void append(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary | std::ios::app) << bytes;
    }
    void move(const std::string& from, const std::string& to) const { fs::rename(path(from), path(to)); }
    void remove(const std::string& name) const { fs::remove_all(path(name)); }

    /// Whether what is appended to that file is noticed by itself.
    bool follows(const std::string& name) const {
        settle();
        append(name, "more");
        return hasEvent();
    }

    std::unique_ptr<FileEvents> events;
};

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

TEST_F(FileEventsTest, reachDownToEveryFolder) {
    for (int i = 0; i < 300; ++i)
        write("root/" + std::to_string(i % 20) + "/" + std::to_string(i) + "/a.jsonl", "");
    watch();
    for (int i = 0; i < 300; ++i)
        EXPECT_TRUE(follows("root/" + std::to_string(i % 20) + "/" + std::to_string(i) + "/a.jsonl")) << i;
}

TEST_F(FileEventsTest, followFoldersThatAreMadeLater) {
    watch();
    makeFolder("root/a/b/c");
    EXPECT_TRUE(hasEvent());
    write("root/a/b/c/log.jsonl", "");
    EXPECT_TRUE(follows("root/a/b/c/log.jsonl"));
    write("root/a/b/x/log.jsonl", "");
    EXPECT_TRUE(follows("root/a/b/x/log.jsonl"));
}

TEST_F(FileEventsTest, followWhatIsMadeAtFullSpeedWhileTheyLook) {
    watch();
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        for (int i = 0; i < 200; ++i) {
            const std::string name = "root/" + std::to_string(i);
            makeFolder(name + "/sub/deep");
            if (i % 3 == 0) move(name, name + "-moved");
            write(i % 3 == 0 ? name + "-moved/sub/deep/log.jsonl" : name + "/sub/deep/log.jsonl", "");
            if (i % 7 == 0) remove(name);
        }
        isDone = true;
    });
    while (!isDone)
        events->wait(0.01);
    writer.join();
    settle();
    int logs = 0;
    for (const auto& entry : fs::recursive_directory_iterator(path("root")))
        if (entry.is_regular_file()) {
            ++logs;
            EXPECT_TRUE(follows(entry.path().lexically_relative(folder()))) << entry.path();
        }
    EXPECT_GT(logs, 150);
}

TEST_F(FileEventsTest, followFoldersThatAreMoved) {
    write("root/d/e/log.jsonl", "");
    watch();
    move("root/d", "root/new");
    EXPECT_TRUE(follows("root/new/e/log.jsonl"));
    makeFolder("root/new/e/f");
    write("root/new/e/f/log.jsonl", "");
    EXPECT_TRUE(follows("root/new/e/f/log.jsonl"));
    write("root/d/e/log.jsonl", "");
    EXPECT_TRUE(follows("root/d/e/log.jsonl"));
    EXPECT_TRUE(follows("root/new/e/log.jsonl"));
}

TEST_F(FileEventsTest, followFoldersThatAreMovedIn) {
    write("outside/e/log.jsonl", "");
    watch();
    move("outside", "root/in");
    EXPECT_TRUE(hasEvent());
    EXPECT_TRUE(follows("root/in/e/log.jsonl"));
}

TEST_F(FileEventsTest, letGoOfFoldersThatAreMovedOut) {
    write("root/d/e/log.jsonl", "");
    watch();
    move("root/d", "outside");
    EXPECT_TRUE(hasEvent());
    settle();
    append("outside/e/log.jsonl", "more");
    write("outside/new.jsonl", "");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, keepTheSiblingsOfAFolderThatGoes) {
    for (const char* name : {"d", "d-x", "d.x", "d0", "d1", "da"})
        write("root/" + std::string(name) + "/e/log.jsonl", "");
    watch();
    move("root/d", "outside");
    for (const char* name : {"d-x", "d.x", "d0", "d1", "da"})
        EXPECT_TRUE(follows("root/" + std::string(name) + "/e/log.jsonl")) << name;
    settle();
    append("outside/e/log.jsonl", "more");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, followTwoFoldersThatChangeNames) {
    write("root/a/log.jsonl", "");
    write("root/b/sub/log.jsonl", "");
    watch();
    move("root/a", "root/x");
    move("root/b", "root/a");
    move("root/x", "root/b");
    EXPECT_TRUE(follows("root/b/log.jsonl"));
    EXPECT_TRUE(follows("root/a/sub/log.jsonl"));
    move("root/a", "outside");
    EXPECT_TRUE(follows("root/b/log.jsonl"));
    settle();
    append("outside/sub/log.jsonl", "more");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, followAFolderThatTakesAnothersPlace) {
    makeFolder("root/old");
    write("root/new/log.jsonl", "");
    watch();
    move("root/new", "root/old");
    EXPECT_TRUE(follows("root/old/log.jsonl"));
    write("root/old/sub/log.jsonl", "");
    EXPECT_TRUE(follows("root/old/sub/log.jsonl"));
}

TEST_F(FileEventsTest, followAFolderThatIsMadeAgain) {
    for (int i = 0; i < 50; ++i)
        write("root/d/" + std::to_string(i) + "/log.jsonl", "");
    watch();
    for (int i = 0; i < 3; ++i) {
        remove("root/d");
        EXPECT_TRUE(hasEvent());
        write("root/d/7/log.jsonl", "");
        EXPECT_TRUE(follows("root/d/7/log.jsonl"));
    }
}

/// Who may read everything is somebody else while this lives.
class OrdinaryUser {
public:
    OrdinaryUser() { check(::geteuid() != 0 || ::seteuid(65534) == 0, "nobody else to be"); }
    ~OrdinaryUser() { check(::getuid() != 0 || ::seteuid(0) == 0, "no way back"); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
};

TEST_F(FileEventsTest, followAFolderThatBecomesReadable) {
    const auto everybody = static_cast<fs::perms>(0755);
    write("root/d/e/log.jsonl", "");
    fs::permissions(folder(), everybody);
    fs::permissions(path("root/d"), fs::perms::none);
    {
        const OrdinaryUser user;
        watch();
    }
    fs::permissions(path("root/d"), everybody);
    {
        const OrdinaryUser user;
        EXPECT_TRUE(hasEvent());
        settle();
    }
    append("root/d/e/log.jsonl", "more");
    EXPECT_TRUE(hasEvent());
}

TEST_F(FileEventsTest, followNoLinkBelowAFolder) {
    write("outside/log.jsonl", "");
    link(path("outside"), "root/before");
    watch();
    link(path("outside"), "root/later");
    EXPECT_TRUE(hasEvent());
    settle();
    append("outside/log.jsonl", "more");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsTest, followALinkThatIsGivenToThem) {
    write("real/d/log.jsonl", "");
    link(path("real"), "link");
    events = fileEvents({path("link")}, never);
    ASSERT_TRUE(events);
    EXPECT_TRUE(follows("real/d/log.jsonl"));
    write("real/new/log.jsonl", "");
    EXPECT_TRUE(follows("real/new/log.jsonl"));
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
    int calls = 0;
    runDebounced(*events, [&] {
        ++calls;
        events->stop();
    });
    EXPECT_EQ(calls, 1);
    settle();
}

/// What the system keeps for a user can be lowered for a process and its children: each of these runs itself
/// again as such a child.
class LimitedFileEventsTest : public FileEventsTest {
protected:
    static constexpr const char* marker = "LEDGERFERN_TEST_LIMITED";
    static bool isLimited() { return std::getenv(marker) != nullptr; }

    static void runLimited(const std::string& limit, int value) {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        std::error_code error;
        const std::string program = fs::read_symlink("/proc/self/exe", error);
        const std::string lower =
            "echo " + std::to_string(value) + " > /proc/sys/user/" + limit + " 2>/dev/null";
        if (std::system(("unshare -Ur sh -c '" + lower + "' 2>/dev/null").c_str()) != 0)
            GTEST_SKIP() << "limits can't be lowered here";
        const EnvironmentVariable inside(marker, "1");
        const std::string filter = std::string(test.test_suite_name()) + "." + test.name();
        EXPECT_EQ(std::system(("unshare -Ur sh -c '" + lower + " && exec \"$0\" --gtest_filter=" + filter +
                               "' '" + program + "'")
                                  .c_str()),
                  0);
    }

    /// Twenty folders with a log in each.
    void writeTwenty() const {
        for (int i = 0; i < 20; ++i)
            write(name(i), "one");
    }
    static std::string name(int i) { return "root/" + std::to_string(i) + "/deeper/log.jsonl"; }

    /// Short, as what it finds is there before it looks.
    static constexpr double soon = 0.02;
};

TEST_F(LimitedFileEventsTest, lookSlowlyAtWhatCannotBeWatched) {
    if (!isLimited()) return runLimited("max_inotify_watches", 12);
    writeTwenty();
    watch(soon);
    EXPECT_TRUE(isQuiet());
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(follows(name(i))) << i;
    write("root/new/log.jsonl", "");
    EXPECT_TRUE(follows("root/new/log.jsonl"));
    settle();
    remove("root/new");
    EXPECT_TRUE(hasEvent());
    settle();
    setModified(name(19), 1'000'000, 0);
    EXPECT_TRUE(hasEvent());
    settle();
    EXPECT_TRUE(isQuiet());
}

TEST_F(LimitedFileEventsTest, watchWhatTheyCanWithoutASlowLook) {
    if (!isLimited()) return runLimited("max_inotify_watches", 12);
    writeTwenty();
    watch();
    int watched = 0;
    for (int i = 0; i < 20; ++i) {
        settle();
        append(name(i), "more");
        if (events->wait(0) == Outcome::event) ++watched;
    }
    EXPECT_GE(watched, 5);
    EXPECT_LT(watched, 20);
}

TEST_F(LimitedFileEventsTest, watchTheRestAsSoonAsTheSystemLetsThem) {
    if (!isLimited()) return runLimited("max_inotify_watches", 12);
    writeTwenty();
    watch(soon);
    for (int i = 0; i < 18; ++i)
        remove("root/" + std::to_string(i));
    ASSERT_TRUE(hasEvent());
    // A look that finds nothing changed has watched all, and after it none is needed.
    while (events->wait(5 * soon) == Outcome::event) {
    }
    for (const int i : {18, 19}) {
        append(name(i), "more");
        EXPECT_EQ(events->wait(0), Outcome::event) << i;
        settle();
    }
}

TEST_F(LimitedFileEventsTest, lookAtEverythingWhereNothingCanBeWatched) {
    if (!isLimited()) return runLimited("max_inotify_instances", 0);
    writeTwenty();
    watch(soon);
    EXPECT_TRUE(isQuiet());
    for (const int i : {0, 19})
        EXPECT_TRUE(follows(name(i)));
    write("root/new/log.jsonl", "");
    EXPECT_TRUE(hasEvent());
    EXPECT_TRUE(isQuiet());
    events->stop();
    EXPECT_EQ(events->wait(std::nullopt), Outcome::stopped);
}

}  // namespace
}  // namespace ledgerfern
