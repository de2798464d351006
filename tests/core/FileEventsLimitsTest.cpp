#include "core/FileEventsFixture.h"

#include <cstdlib>

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;

/// What the system keeps for a user can be lowered for a process and its children: each of these runs itself
/// again as such a child.
class FileEventsLimitsTest : public test::FileEventsFixture {
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

TEST_F(FileEventsLimitsTest, lookSlowlyAtWhatCannotBeWatched) {
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

TEST_F(FileEventsLimitsTest, watchWhatTheyCanWithoutASlowLook) {
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

TEST_F(FileEventsLimitsTest, watchTheRestAsSoonAsTheSystemLetsThem) {
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

TEST_F(FileEventsLimitsTest, lookAtEverythingWhereNothingCanBeWatched) {
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
