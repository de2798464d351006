#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "EngineFixture.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::EngineFixture;
using test::log;
using test::now;
using test::setModified;
using test::usage;

using EngineFollowingTest = EngineFixture;

/// A file that has lines and says that its size is 0: what the system shows of a waiting process's arguments.
class SizelessFile {
public:
    explicit SizelessFile(std::string lines) : lines_("\n" + std::move(lines)) {
        std::array<int, 2> input{}, output{};
        EXPECT_TRUE(::pipe(input.data()) == 0 && ::pipe(output.data()) == 0);
        goodbye_ = input[1];
        ::fcntl(goodbye_, F_SETFD, FD_CLOEXEC);
        start(input[0], output[1]);
        ::close(input[0]);
        ::close(output[1]);
        char ready = 0;
        EXPECT_EQ(::read(output[0], &ready, 1), 1) << "it runs, so its arguments can be seen";
        ::close(output[0]);
    }
    ~SizelessFile() {
        ::close(goodbye_);
        ::waitpid(process_, nullptr, 0);
    }
    SizelessFile(const SizelessFile&) = delete;
    SizelessFile& operator=(const SizelessFile&) = delete;

    std::string path() const { return "/proc/" + std::to_string(process_) + "/cmdline"; }

private:
    void start(int input, int output) {
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        std::string shell = "sh", option = "-c", command = "echo; read end";
        char* const arguments[] = {shell.data(), option.data(), command.data(), lines_.data(), nullptr};
        char* const environment[] = {nullptr};
        EXPECT_EQ(::posix_spawn(&process_, "/bin/sh", &actions, nullptr, arguments, environment), 0);
        ::posix_spawn_file_actions_destroy(&actions);
    }

    std::string lines_;
    int goodbye_ = -1;
    pid_t process_ = 0;
};

TEST_F(EngineFollowingTest, anAppendedLineIsAllThatALaterScanReads) {
    home.write("sessions/a.jsonl", log(100));
    EXPECT_EQ(totalInput(engine.rescan()), 100);
    home.append("sessions/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text);
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(totalInput(snapshot), 150);
    EXPECT_EQ(snapshot.sessions[0]->requests.size(), 2U);
    EXPECT_EQ(codexFiles(snapshot), 1);
}

TEST_F(EngineFollowingTest, anUnchangedFileKeepsItsPublishedSession) {
    home.write("sessions/a.jsonl", log());
    home.write("sessions/b.jsonl", log());
    const Snapshot first = engine.rescan();
    home.append("sessions/b.jsonl", CodexLog().tokens(usage(150, 0, 20)).text);
    const Snapshot second = engine.rescan();
    const auto find = [](const Snapshot& snapshot, std::string_view name) {
        for (const auto& session : snapshot.sessions)
            if (session->path.ends_with(name)) return session;
        return SessionPointer();
    };
    EXPECT_EQ(find(first, "a.jsonl"), find(second, "a.jsonl"));
    EXPECT_NE(find(first, "b.jsonl"), find(second, "b.jsonl"));
    EXPECT_EQ(find(first, "b.jsonl")->requests.size(), 1U);
}

TEST_F(EngineFollowingTest, aSessionIsHeldOnceByItsStateAndItsPublishedResult) {
    const std::string path = home.write("sessions/a.jsonl", log());
    const Snapshot snapshot = engine.rescan();
    const Snapshot later = engine.currentSnapshot();
    EXPECT_TRUE(snapshot.sessions[0]->requests.sharesStorageWith(later.sessions[0]->requests));
    EXPECT_TRUE(snapshot.sessions[0]->requests.sharesStorageWith(engine.fullResult(path)->requests));
}

TEST_F(EngineFollowingTest, anUnfinishedLineWaitsForItsRest) {
    const std::string text = CodexLog().meta().tokens(usage(100, 0, 10)).tokens(usage(150, 0, 20)).text;
    home.write("sessions/a.jsonl", text.substr(0, text.size() - 10));
    const Snapshot first = engine.rescan();
    EXPECT_EQ(totalInput(first), 100);
    EXPECT_EQ(first.malformedLines, 0);
    home.append("sessions/a.jsonl", text.substr(text.size() - 10));
    EXPECT_EQ(totalInput(engine.rescan()), 150);
    EXPECT_EQ(engine.currentSnapshot().sessions[0]->requests.size(), 2U);
}

TEST_F(EngineFollowingTest, finishingFilesAppliesTheirLastLines) {
    const std::string text = log(100);
    home.write("sessions/a.jsonl", text.substr(0, text.size() - 1));
    EXPECT_TRUE(engine.rescan().sessions.empty());
    EXPECT_EQ(totalInput(engine.rescan(finished())), 100);
    Engine fresh({{root(), ToolKind::codex}}, fixedClock(now), 1);
    EXPECT_EQ(totalInput(fresh.rescan(finished())), 100);
}

TEST_F(EngineFollowingTest, aTruncatedFileIsReadAnewInTheSameScan) {
    home.write("sessions/a.jsonl",
               CodexLog().meta("/old").tokens(usage(100, 0, 10)).tokens(usage(900, 0, 90)).text);
    EXPECT_EQ(totalInput(engine.rescan()), 900);
    home.write("sessions/a.jsonl", log(70, "/new"));
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(totalInput(snapshot), 70);
    EXPECT_EQ(snapshot.sessions[0]->project, "new");
}

TEST_F(EngineFollowingTest, aFileReplacedAtTheSameSizeKeepsItsState) {
    home.write("sessions/a.jsonl", log(100));
    EXPECT_EQ(totalInput(engine.rescan()), 100);
    home.write("sessions/a.jsonl", log(900));
    EXPECT_EQ(totalInput(engine.rescan()), 100) << "there is no other test for a changed file";
}

TEST_F(EngineFollowingTest, aFileTruncatedToNothingLosesItsSession) {
    home.write("sessions/a.jsonl", log(100));
    engine.rescan();
    home.write("sessions/a.jsonl", "");
    EXPECT_TRUE(engine.rescan().sessions.empty());
    home.append("sessions/a.jsonl", log(30));
    EXPECT_EQ(totalInput(engine.rescan()), 30);
}

TEST_F(EngineFollowingTest, aVanishedFileLeavesAtOnceAndIsCountedOnceMore) {
    home.write("sessions/a.jsonl", log());
    const std::string path = home.write("sessions/b.jsonl", log());
    engine.rescan();
    std::filesystem::remove(path);
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(codexFiles(snapshot), 2);
    EXPECT_EQ(codexFiles(engine.rescan()), 1);
    EXPECT_FALSE(engine.fullResult(path).has_value());
}

TEST_F(EngineFollowingTest, aNewFileIsFoundByALaterScan) {
    home.write("sessions/a.jsonl", log());
    engine.rescan();
    home.write("sessions/b.jsonl", log());
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(snapshot.sessions.size(), 2U);
    EXPECT_EQ(codexFiles(snapshot), 2);
}

TEST_F(EngineFollowingTest, modificationTimesAreComparedStrictly) {
    setModified(home.write("sessions/old.jsonl", log()), 1000.0);
    setModified(home.write("sessions/edge.jsonl", log()), 2000.5);
    setModified(home.write("sessions/new.jsonl", log()), 3000.0);
    ScanOptions options;
    options.skipFilesModifiedBefore = 2000.5;
    const Snapshot snapshot = engine.rescan(options);
    EXPECT_EQ(snapshot.sessions.size(), 2U);
    EXPECT_EQ(engine.skippedOldFiles(), 1);
    EXPECT_EQ(codexFiles(snapshot), 2);
    const Snapshot later = engine.rescan();
    EXPECT_EQ(later.sessions.size(), 3U);
    EXPECT_EQ(codexFiles(later), 3) << "one that was left out before counts once";
    EXPECT_EQ(engine.skippedOldFiles(), 0);
}

TEST_F(EngineFollowingTest, anOldFileWithALiveStateIsStillFollowed) {
    const std::string path = home.write("sessions/a.jsonl", log(100));
    engine.rescan();
    home.append("sessions/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text);
    setModified(path, 1000.0);
    ScanOptions options;
    options.skipFilesModifiedBefore = 2000.0;
    EXPECT_EQ(totalInput(engine.rescan(options)), 150);
    EXPECT_EQ(engine.skippedOldFiles(), 0);
}

TEST_F(EngineFollowingTest, aFileThatCannotBeOpenedShowsNoSessionUntilItCan) {
    std::filesystem::create_directories(root());
    std::filesystem::create_symlink(home / "target", root() + "/a.jsonl");
    const Snapshot first = engine.rescan();
    EXPECT_TRUE(first.sessions.empty());
    EXPECT_EQ(codexFiles(first), 1);
    home.write("target", log(100));
    EXPECT_EQ(totalInput(engine.rescan()), 100);
}

TEST_F(EngineFollowingTest, aFileThatCanNoLongerBeLookedAtIsReadAnew) {
    const std::string target = home.write("target", log(100));
    std::filesystem::create_directories(root());
    std::filesystem::create_symlink(target, root() + "/a.jsonl");
    EXPECT_EQ(totalInput(engine.rescan()), 100);
    std::filesystem::remove(target);
    EXPECT_TRUE(engine.rescan().sessions.empty()) << "its size counts as 0, so it was truncated";
    home.write("target", log(30));
    EXPECT_EQ(totalInput(engine.rescan()), 30);
}

TEST_F(EngineFollowingTest, aFileThatOnlySeemsToBeEmptyIsReadByEveryScan) {
    if (!std::filesystem::exists("/proc/self/cmdline"))
        GTEST_SKIP() << "a file of size 0 with lines is missing";
    const SizelessFile target(log(100));
    std::filesystem::create_directories(root());
    std::filesystem::create_symlink(target.path(), root() + "/a.jsonl");
    for (int scan = 0; scan < 3; ++scan)
        EXPECT_EQ(totalInput(engine.rescan()), 100) << scan;
}

TEST_F(EngineFollowingTest, aStateThatMakesNoSessionStillCountsItsMalformedLines) {
    home.write("sessions/a.jsonl", "{\"type\":\"event_msg\",\n{\"event_msg\"\n");
    home.write("sessions/b.jsonl", log() + "\"event_msg\"\n");
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(snapshot.malformedLines, 3);
    EXPECT_EQ(codexFiles(snapshot), 2);
}

TEST_F(EngineFollowingTest, whatGivesNoBytesLeavesAStateAsItIsAndIsTriedAgain) {
    const std::string path = home.write("sessions/a.jsonl", log(100));
    engine.rescan();
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    // The folder must not look like a file that got shorter.
    for (int i = 0; statFile(path)->size < log(100).size(); ++i)
        home.write("sessions/a.jsonl/" + std::to_string(i), "");
    EXPECT_EQ(totalInput(engine.rescan()), 100);
    std::filesystem::remove_all(path);
    home.write("sessions/a.jsonl", log(100) + CodexLog().tokens(usage(150, 0, 20)).text);
    EXPECT_EQ(totalInput(engine.rescan()), 150);
}

TEST_F(EngineFollowingTest, whatFollowsAFinishedFileCountsAnew) {
    home.write("sessions/a.jsonl", log(100));
    EXPECT_EQ(totalInput(engine.rescan(finished())), 100);
    home.append("sessions/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text);
    EXPECT_EQ(totalInput(engine.rescan()), 250);
}

}  // namespace
}  // namespace ledgerfern
