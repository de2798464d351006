#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tool/MadeUpHome.h"
#include "tool/ToolProcess.h"

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string now = "1774022400";

std::map<std::string, std::string> filesOfDemo(const std::vector<std::string>& options) {
    const LogFolder folder;
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {"--now", now, folder.path()});
    EXPECT_EQ(runDemoCommand(arguments).status, 0);
    return filesBelow(folder.path());
}

TEST(Demo, givesTheSameBytesForTheSameOptions) {
    const auto files = filesOfDemo({"--sessions", "4"});
    EXPECT_EQ(files.size(), 4u + 3);
    EXPECT_TRUE(files.contains("Library/Application Support/Ledgerfern/snapshots.sqlite"));
    EXPECT_EQ(files, filesOfDemo({"--sessions", "4", "--seed", "1"}));
}

TEST(Demo, givesOtherBytesForAnotherSeed) {
    const auto files = filesOfDemo({"--sessions", "4"});
    const auto others = filesOfDemo({"--sessions", "4", "--seed", "2"});
    for (const auto& [path, bytes] : files)
        if (path.ends_with(".jsonl") && !path.ends_with("index.jsonl")) {
            EXPECT_FALSE(others.contains(path)) << path;
        }
}

TEST(Demo, gettingMoreSessionsKeepsTheFirstOnes) {
    const auto few = filesOfDemo({"--sessions", "2"});
    const auto more = filesOfDemo({"--sessions", "4"});
    for (const auto& [path, bytes] : few)
        EXPECT_TRUE(more.contains(path)) << path;
}

TEST(Demo, dependsOnNothingOfTheEnvironment) {
    std::vector<std::map<std::string, std::string>> results;
    for (const auto& [zone, locale] :
         {std::pair<std::string, std::string>{"UTC", "C"}, {"Pacific/Auckland", "tr_TR.UTF-8"}}) {
        const LogFolder folder, home;
        ToolRun run;
        run.arguments = {"demo", folder.path("new"), "--sessions", "4", "--now", now};
        run.environment = {{"HOME", home.path()}, {"TZ", zone}, {"LC_ALL", locale}};
        EXPECT_EQ(runTool(run).status, 0);
        EXPECT_TRUE(fs::is_empty(home.path()));
        results.push_back(filesBelow(folder.path("new")));
    }
    EXPECT_EQ(results[0], results[1]);
}

TEST(Demo, takesTheClockWhereNoInstantIsGiven) {
    const LogFolder folder;
    EXPECT_EQ(runDemoCommand({"--sessions", "1", folder.path()}).status, 0);
    const double before = systemClock()();
    Engine engine({{folder.path(".codex/sessions"), ToolKind::codex}}, systemClock());
    const Snapshot snapshot = engine.rescan();
    ASSERT_EQ(snapshot.sessions.size(), 1u);
    EXPECT_LE(*snapshot.sessions[0]->lastTs, before);
    EXPECT_GT(*snapshot.sessions[0]->lastTs, before - 600);
}

TEST(Demo, makesAsManySessionsAsItIsAskedFor) {
    for (const std::size_t count : {1u, 2u, 4u}) {
        const MadeUpHome home({"--sessions", std::to_string(count)});
        EXPECT_EQ(home.snapshot.sessions.size(), count);
        EXPECT_EQ(home.snapshot.malformedLines, 0);
    }
}

TEST(Demo, saysWhatItWroteAndHowToSeeIt) {
    const MadeUpHome home({"--sessions", "1"});
    EXPECT_THAT(home.outcome.out, StartsWith("Wrote 1 session ("));
    EXPECT_THAT(home.outcome.out, EndsWith("MB) to “" + home.path() + "”.\nTo see them: HOME=" + home.path() +
                                           " ledgerfern-cli report\n"));
    EXPECT_EQ(home.outcome.err, "");
}

TEST(Demo, writesNothingBesideItsFolder) {
    const MadeUpHome home({"--sessions", "3"});
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(home.above.path()))
        names.push_back(entry.path().filename());
    EXPECT_EQ(names, std::vector<std::string>{"home"});
    names.clear();
    for (const auto& entry : fs::directory_iterator(home.path()))
        names.push_back(entry.path().filename());
    EXPECT_THAT(names, testing::UnorderedElementsAre(".codex", ".claude", "Library"));
}

TEST(Demo, refusesAFolderThatIsNotEmpty) {
    const LogFolder folder;
    folder.write("mine", "all of it");
    const DemoOutcome outcome = runDemoCommand({folder.path()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "ledgerfern-cli: the folder “" + folder.path() +
                               "” isn't empty; demo takes a new or an empty one\n");
    EXPECT_EQ(filesBelow(folder.path()), (std::map<std::string, std::string>{{"mine", "all of it"}}));
}

TEST(Demo, refusesAFileAndAFolderWithoutOneAbove) {
    const LogFolder folder;
    const std::string file = folder.write("file", "");
    EXPECT_EQ(runDemoCommand({file}).err,
              "ledgerfern-cli: “" + file + "” is no folder; demo takes a new or an empty one\n");
    const DemoOutcome outcome = runDemoCommand({folder.path("a/b")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "ledgerfern-cli: can't write the demo to “" + folder.path("a/b") +
                               "”: No such file or directory\n");
    EXPECT_EQ(runDemoCommand({file + "/b"}).status, 1);
    EXPECT_EQ(filesBelow(folder.path()).size(), 1u);
}

TEST(Demo, refusesAFolderThatItMayNotWriteTo) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
    const LogFolder folder;
    ::chmod(folder.path().c_str(), 0500);
    const DemoOutcome outcome = runDemoCommand({folder.path("new")});
    const DemoOutcome existing = runDemoCommand({folder.path()});
    ::chmod(folder.path().c_str(), 0700);
    EXPECT_EQ(outcome.err,
              "ledgerfern-cli: can't write the demo to “" + folder.path("new") + "”: Permission denied\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(existing.status, 1);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(Demo, leavesNothingBehindWhereItIsInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const LogFolder folder;
        ToolRun run;
        run.arguments = {"demo", folder.path("new"), "--sessions", "5000"};
        ToolProcess process(run);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!fs::exists(folder.path("new/.ledgerfern-demo/.codex")) &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        process.signal(signal);
        EXPECT_EQ(process.await().status, 128 + signal);
        EXPECT_TRUE(fs::is_empty(folder.path()));
    }
}

TEST(Demo, tellsBadUsageAndWritesNothing) {
    const LogFolder folder;
    const std::string place = folder.path("new");
    const std::map<std::vector<std::string>, std::string> sentences = {
        {{}, "demo needs one argument: ledgerfern-cli demo DIR"},
        {{place, "--seed", "x"},
         "--seed “x” is out of place; it takes a whole number from 0 to 9223372036854775807"},
        {{place, "--seed=-1"},
         "--seed “-1” is out of place; it takes a whole number from 0 to 9223372036854775807"},
        {{place, "--sessions", "0"},
         "--sessions “0” is out of place; it takes a whole number from 1 to 5000"},
        {{place, "--sessions", "5001"},
         "--sessions “5001” is out of place; it takes a whole number from 1 to 5000"},
        {{place, "--sessions", "1.5"},
         "--sessions “1.5” is out of place; it takes a whole number from 1 to 5000"},
        {{place, "--seed", "1", "--seed", "2"}, "--seed is given more than once; it takes one value"},
        {{place, "--now", "6652799"},
         "--now is too early for a demo, whose logs go back ten weeks; it takes 6652800 and later"},
        {{place, "--codex", "x"},
         "demo has no option “--codex”; “ledgerfern-cli demo --help” lists those it has"},
    };
    for (const auto& [arguments, sentence] : sentences) {
        const DemoOutcome outcome = runDemoCommand(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "ledgerfern-cli: " + sentence + "\n");
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(Demo, endsAtAnyInstantThatTheCalendarHas) {
    // The fifth of six is the one that goes on for days, and so goes back furthest.
    for (const auto& [instant, count] :
         {std::pair<std::string, std::size_t>{"6652800", 6}, {"253402300799.5", 2}}) {
        const LogFolder folder;
        const std::string sessions = std::to_string(count);
        EXPECT_EQ(runDemoCommand({"--sessions", sessions, "--now", instant, folder.path()}).status, 0);
        Engine engine({{folder.path(".codex/sessions"), ToolKind::codex},
                       {folder.path(".claude/projects"), ToolKind::claudeCode}},
                      fixedClock(std::stod(instant)));
        const Snapshot snapshot = engine.rescan();
        ASSERT_EQ(snapshot.sessions.size(), count);
        EXPECT_EQ(snapshot.sessions.front()->lastTs, std::stod(instant));
        EXPECT_GE(*snapshot.sessions.back()->started, 0);
    }
}

}  // namespace
}  // namespace ledgerfern
