#include "Application/SingleInstance.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Application/EndSignals.h"
#include "Foundation/TemporaryFolder.h"

namespace ledgerfern {

namespace {

/// What a process tells of itself.
enum Event : char { isFirst = 'F', hasToldFirst = 'T', couldntTell = 'N', wasAskedToShow = 'S', isGone = 0 };

/// The application's start and end, in a process of its own, which is killed with its owner.
class Instance {
public:
    explicit Instance(const std::string& supportDirectory) {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        process_ = ::fork();
        if (process_ == 0) run(supportDirectory, ends[1]);
        ::close(ends[1]);
        events_ = ends[0];
    }
    ~Instance() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        ::close(events_);
    }
    Instance(const Instance&) = delete;

    Event next() const {
        pollfd waited{events_, POLLIN, 0};
        EXPECT_EQ(::poll(&waited, 1, 20'000), 1) << "nothing happens";
        char event = isGone;
        return ::read(events_, &event, 1) == 1 ? static_cast<Event>(event) : isGone;
    }
    void signal(int number) const { ::kill(process_, number); }

private:
    [[noreturn]] static void run(const std::string& supportDirectory, int events) {
        char name[] = "ledgerfern";
        char* arguments[] = {name, nullptr};
        int count = 1;
        const auto tell = [events](char event) { EXPECT_EQ(::write(events, &event, 1), 1); };
        {
            QCoreApplication application(count, arguments);
            const EndSignals signals([] { QCoreApplication::quit(); });
            SingleInstance instance(supportDirectory);
            if (instance.isFirst()) {
                instance.listen([&] { tell(wasAskedToShow); });
                tell(isFirst);
                QCoreApplication::exec();
            } else {
                tell(instance.showFirst() ? hasToldFirst : couldntTell);
            }
        }
        ::_exit(0);
    }

    pid_t process_ = 0;
    int events_ = -1;
};

class SingleInstanceTest : public testing::Test {
protected:
    void SetUp() override {
        ::mkdir(runtime.c_str(), 0700);
        ::mkdir(temporary.c_str(), 0700);
        ::setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        ::setenv("TMPDIR", temporary.c_str(), 1);
    }
    void TearDown() override {
        ::unsetenv("XDG_RUNTIME_DIR");
        ::unsetenv("TMPDIR");
    }

    std::string ownFolder() const { return temporary + "/ledgerfern-" + std::to_string(::geteuid()); }

    const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string runtime = folder.path() + "/runtime";
    const std::string temporary = folder.path() + "/temporary";
    const std::string support = folder.path() + "/home/Application Support/Ledgerfern";
};

}  // namespace

TEST_F(SingleInstanceTest, aSecondStartTellsTheFirstToShowItself) {
    const Instance first(support);
    ASSERT_EQ(first.next(), isFirst);
    const Instance second(support);
    EXPECT_EQ(second.next(), hasToldFirst);
    EXPECT_EQ(second.next(), isGone);
    EXPECT_EQ(first.next(), wasAskedToShow);
}

TEST_F(SingleInstanceTest, ofManyStartsAtOnceOneWinsAndHearsAllOthers) {
    std::vector<std::unique_ptr<Instance>> instances(5);
    for (auto& instance : instances)
        instance = std::make_unique<Instance>(support);
    std::vector<Event> events;
    for (const auto& instance : instances)
        events.push_back(instance->next());
    EXPECT_EQ(std::ranges::count(events, hasToldFirst), 4);
    const auto winner = std::ranges::find(events, isFirst);
    ASSERT_NE(winner, events.end());
    for (int other = 0; other < 4; ++other)
        EXPECT_EQ(instances[static_cast<std::size_t>(winner - events.begin())]->next(), wasAskedToShow);
}

TEST_F(SingleInstanceTest, afterAKillTheNextStartWorks) {
    const Instance killed(support);
    ASSERT_EQ(killed.next(), isFirst);
    killed.signal(SIGKILL);
    ASSERT_EQ(killed.next(), isGone);
    const Instance next(support);
    ASSERT_EQ(next.next(), isFirst);
    EXPECT_EQ(Instance(support).next(), hasToldFirst);
    EXPECT_EQ(next.next(), wasAskedToShow);
}

TEST_F(SingleInstanceTest, aCleanEndLeavesNothingBehind) {
    const Instance first(support);
    ASSERT_EQ(first.next(), isFirst);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(runtime), {}), 2);
    first.signal(SIGTERM);
    ASSERT_EQ(first.next(), isGone);
    EXPECT_TRUE(std::filesystem::is_empty(runtime));
    EXPECT_EQ(Instance(support).next(), isFirst);
}

TEST_F(SingleInstanceTest, eachSupportDirectoryHasItsOwnFirst) {
    const Instance one(support), other(support + "2");
    EXPECT_EQ(one.next(), isFirst);
    EXPECT_EQ(other.next(), isFirst);
}

TEST_F(SingleInstanceTest, oneDirectoryUnderTwoNamesHasOneFirst) {
    std::filesystem::create_directories(folder.path() + "/home");
    std::filesystem::create_directory_symlink(folder.path() + "/home", folder.path() + "/link");
    const Instance first(support);
    ASSERT_EQ(first.next(), isFirst);
    std::filesystem::create_directories(support);
    EXPECT_EQ(Instance(folder.path() + "/link/Application Support/Ledgerfern").next(), hasToldFirst);
}

TEST_F(SingleInstanceTest, onlyItsUserCanReachTheSocketAndTheLock) {
    const Instance first(support);
    ASSERT_EQ(first.next(), isFirst);
    for (const auto& entry : std::filesystem::directory_iterator(runtime)) {
        struct stat attributes{};
        ASSERT_EQ(::lstat(entry.path().c_str(), &attributes), 0);
        const bool isSocket = S_ISSOCK(attributes.st_mode);
        EXPECT_EQ(attributes.st_mode & (isSocket ? 0077U : 0022U), 0U) << entry.path();
    }
}

TEST_F(SingleInstanceTest, withoutARuntimeDirectoryItMakesAPrivateFolderInTheTemporaryOne) {
    ::unsetenv("XDG_RUNTIME_DIR");
    ASSERT_EQ(privateRuntimeFolder(), ownFolder());
    EXPECT_EQ(privateRuntimeFolder(), ownFolder());
    struct stat attributes{};
    ASSERT_EQ(::lstat(ownFolder().c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 07777, 0700U);
}

TEST_F(SingleInstanceTest, aRuntimeDirectoryThatOthersCanLookIntoIsNotUsed) {
    for (const mode_t mode : {0777U, 0755U, 0710U, 0701U}) {
        ::chmod(runtime.c_str(), mode);
        EXPECT_EQ(privateRuntimeFolder(), ownFolder()) << mode;
    }
    ::chmod(runtime.c_str(), 0700);
    EXPECT_EQ(privateRuntimeFolder(), runtime);
}

TEST_F(SingleInstanceTest, aRuntimeDirectoryThatIsNoFolderOrIsRelativeIsNotUsed) {
    for (const char* given : {"", "runtime", "/dev/null", "/nowhere"}) {
        ::setenv("XDG_RUNTIME_DIR", given, 1);
        EXPECT_EQ(privateRuntimeFolder(), ownFolder()) << given;
    }
}

TEST_F(SingleInstanceTest, aFolderThatSomebodyElsePreparedIsNotUsed) {
    ::unsetenv("XDG_RUNTIME_DIR");
    ::mkdir(ownFolder().c_str(), 0700);
    ::chmod(ownFolder().c_str(), 0777);
    EXPECT_EQ(privateRuntimeFolder(), std::nullopt);
    ::rmdir(ownFolder().c_str());
    std::filesystem::create_directory_symlink(runtime, ownFolder());
    EXPECT_EQ(privateRuntimeFolder(), std::nullopt);
    std::filesystem::remove(ownFolder());
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
    ::mkdir(ownFolder().c_str(), 0700);
    ASSERT_EQ(::chown(ownFolder().c_str(), 1, 1), 0);
    EXPECT_EQ(privateRuntimeFolder(), std::nullopt);
}

TEST_F(SingleInstanceTest, withoutAPrivatePlaceItRunsAllTheSame) {
    ::unsetenv("XDG_RUNTIME_DIR");
    std::ofstream(ownFolder()) << "in the way";
    const Instance first(support), second(support);
    EXPECT_EQ(first.next(), isFirst);
    EXPECT_EQ(second.next(), isFirst);
}

}  // namespace ledgerfern
