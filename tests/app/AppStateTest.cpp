#include <filesystem>

#include "AppStateFixture.h"
#include "Engine/LiveLog.h"
#include "core/ClaudeLog.h"

// When something runs.

namespace ledgerfern {
namespace {

using test::AppStateFixture;
using test::ClaudeLog;
using test::claudeUsage;
using test::CodexLog;
using test::usage;

class AppStateTest : public AppStateFixture {
protected:
    /// Applies what the quick scan gives, with which everything begins.
    void firstPass() {
        loop.runPosted();
        workers.run();
        loop.runPosted();
    }
};

TEST_F(AppStateTest, hasScannedNothingWhenItIsMade) {
    writeCodex("a.jsonl", codexLog(37));
    make();
    EXPECT_FALSE(state->snapshot());
    EXPECT_TRUE(workers.waiting.empty());
}

TEST_F(AppStateTest, showsThisWeekFirstAndThenAllThereIs) {
    writeCodex("new.jsonl", codexLog(37));
    writeCodex("old.jsonl", codexLog(12), start - 7 * 86'400);
    make();
    loop.runPosted();
    ASSERT_EQ(workers.waiting.size(), 1U);
    EXPECT_EQ(workers.waiting[0].priority, WorkPriority::userInitiated);

    workers.run();
    EXPECT_FALSE(state->snapshot()) << "it is applied on the main thread";
    EXPECT_EQ(notifications.fetchCount, 0) << "the first numbers come before any question";
    loop.runPosted();
    ASSERT_TRUE(state->snapshot());
    EXPECT_EQ(sessionCount(), 1U);
    EXPECT_TRUE(workers.waiting.empty()) << "first the user is asked";

    EXPECT_EQ(notifications.fetchCount, 1);
    notifications.answerFetches(NotificationCentre::Authorization::denied);
    ASSERT_EQ(workers.waiting.size(), 1U);
    workers.run();
    loop.runPosted();
    ASSERT_EQ(workers.waiting.size(), 1U);
    EXPECT_EQ(workers.waiting[0].priority, WorkPriority::utility);
    workers.run();
    loop.runPosted();
    EXPECT_EQ(sessionCount(), 2U);
    EXPECT_TRUE(workers.waiting.empty());
}

TEST_F(AppStateTest, readsAtFirstWhatChangedSinceMonday) {
    constexpr Instant monday = 1772452800;  // noon in UTC: in every zone this week, and before today
    writeCodex("now.jsonl", codexLog(1));
    writeCodex("monday.jsonl", codexLog(1), monday);
    writeCodex("before.jsonl", codexLog(1), monday - 2 * 86'400);
    make();
    firstPass();
    EXPECT_EQ(sessionCount(), 2U);
}

TEST_F(AppStateTest, takesAtFirstOlderLogsFromTheCache) {
    writeCodex("old.jsonl", codexLog(12), start - 7 * 86'400);
    makeSettled();
    state.reset();
    make();
    firstPass();
    EXPECT_EQ(sessionCount(), 1U);
}

TEST_F(AppStateTest, leavesALineUnreadThatIsStillBeingWritten) {
    const std::string log = codexLog(37) + CodexLog().tokens(usage(3000, 0, 20)).text;
    writeCodex("a.jsonl", log.substr(0, log.size() - 20));
    makeSettled();
    ASSERT_EQ(sessionCount(), 1U);
    EXPECT_EQ(state->snapshot()->sessions[0]->requests.size(), 1U);
    writeCodex("a.jsonl", log);
    rescan();
    EXPECT_EQ(state->snapshot()->sessions[0]->requests.size(), 2U);
    EXPECT_FALSE(state->lastError());
}

TEST_F(AppStateTest, countsOnlyWhatIsBelowTheRootThatIsGiven) {
    writeCodex("usual.jsonl", codexLog(1));
    home.write(".claude/projects/app/usual.jsonl", ClaudeLog().assistant("r", claudeUsage(1, 1)).text);
    home.write("tree/a.jsonl", codexLog(37));
    make(home / "tree");
    settle();
    EXPECT_EQ(watched, std::vector<std::string>{home / "tree"});
    ASSERT_EQ(sessionCount(), 1U);
    EXPECT_EQ(state->snapshot()->sessions[0]->path, home / "tree/a.jsonl");
}

TEST_F(AppStateTest, watchesTheRootThatIsGivenAlsoWhereItIsntThereYet) {
    make(home / "tree");
    settle();
    EXPECT_EQ(watched, std::vector<std::string>{home / "tree"});
}

TEST_F(AppStateTest, dropsEventsBeforeTheFirstSnapshot) {
    std::filesystem::create_directories(home / ".codex/sessions");
    make();
    loop.runPosted();
    ASSERT_EQ(workers.waiting.size(), 1U);
    eventsMade.wait();
    events->happen();
    loop.waitForPosted();
    EXPECT_EQ(workers.waiting.size(), 1U) << "the first scan alone";
}

TEST_F(AppStateTest, rescansAfterAChangeOfTheLogs) {
    writeCodex("a.jsonl", codexLog(37));
    makeSettled();
    writeCodex("b.jsonl", codexLog(38));
    events->happen();
    loop.waitForPosted();
    ASSERT_EQ(workers.waiting.size(), 1U);
    EXPECT_EQ(workers.waiting[0].priority, WorkPriority::utility);
    settle();
    EXPECT_EQ(sessionCount(), 2U);
}

TEST_F(AppStateTest, watchesWhatIsThere) {
    std::filesystem::create_directories(home / ".codex/sessions");
    std::filesystem::create_directories(home / ".claude");
    makeSettled();
    EXPECT_EQ(watched, (std::vector<std::string>{home / ".codex/sessions", home / ".claude"}))
        << "the folder around one that isn't there yet";
}

TEST_F(AppStateTest, watchesNothingWhereNoAgentIs) {
    makeSettled();
    EXPECT_EQ(events, nullptr);
    writeCodex("a.jsonl", codexLog(37));
    rescan();
    EXPECT_EQ(sessionCount(), 1U) << "who asks for it gets it";
}

TEST_F(AppStateTest, refreshesOneAtATime) {
    makeSettled();
    state->refresh();
    EXPECT_TRUE(state->refreshInFlight());
    state->refresh();
    ASSERT_EQ(workers.waiting.size(), 1U);
    EXPECT_EQ(workers.waiting[0].priority, WorkPriority::userInitiated);
    workers.run();
    state->refresh();
    EXPECT_TRUE(workers.waiting.empty()) << "until the main thread has taken it in";
    loop.runPosted();
    EXPECT_FALSE(state->refreshInFlight());
    state->refresh();
    EXPECT_EQ(workers.waiting.size(), 1U);
}

TEST_F(AppStateTest, rescansForTheUserWhileAChangeIsScanned) {
    std::filesystem::create_directories(home / ".codex/sessions");
    makeSettled();
    events->happen();
    loop.waitForPosted();
    state->refresh();
    EXPECT_EQ(workers.waiting.size(), 2U);
}

TEST_F(AppStateTest, appliesOverlappingScansInTheOrderInWhichTheyEnd) {
    std::filesystem::create_directories(home / ".codex/sessions");
    makeSettled();
    events->happen();
    loop.waitForPosted();
    state->refresh();
    ASSERT_EQ(workers.waiting.size(), 2U);
    workers.run(1);  // the user's ends first, with one log
    writeCodex("a.jsonl", codexLog(37));
    workers.run();
    loop.runPosted();
    EXPECT_EQ(sessionCount(), 1U) << "the later one stays";
}

TEST_F(AppStateTest, keepsACompleteRecordAsItWasFound) {
    writeCodex("a.jsonl", codexLog(37, 1000));
    makeSettled();
    std::vector<SessionPointer> answers;
    const auto ask = [&] {
        state->fullResult(codexFile("a.jsonl"), [&](const auto& result) { answers.push_back(result); });
        EXPECT_LT(answers.size(), 5U);
    };
    ask();
    ask();
    EXPECT_TRUE(answers.empty()) << "never at once";
    ASSERT_EQ(workers.waiting.size(), 1U) << "asked once";
    EXPECT_EQ(workers.waiting[0].priority, WorkPriority::userInitiated);
    settle();
    ASSERT_EQ(answers.size(), 2U);
    ASSERT_TRUE(answers[0]);
    EXPECT_EQ(answers[0]->requests.size(), 1U);

    home.append(".codex/sessions/a.jsonl", CodexLog().tokens(usage(3000, 0, 20)).text);
    rescan();
    EXPECT_EQ(state->snapshot()->sessions[0]->requests.size(), 2U);
    ask();
    EXPECT_TRUE(workers.waiting.empty());
    settle();
    ASSERT_EQ(answers.size(), 3U);
    EXPECT_EQ(answers[2], answers[0]);
}

TEST_F(AppStateTest, asksAgainForARecordThatIsntKnown) {
    makeSettled();
    for (int i = 0; i < 2; ++i) {
        int answers = 0;
        state->fullResult("/nowhere.jsonl", [&](const auto& result) {
            EXPECT_FALSE(result);
            ++answers;
        });
        EXPECT_EQ(workers.waiting.size(), 1U);
        settle();
        EXPECT_EQ(answers, 1);
    }
}

TEST_F(AppStateTest, namesASessionWithAndWithoutASnapshot) {
    const std::string name = "rollout-2026-03-01T10-00-00-0123456789abcdef0123.jsonl";
    writeCodex(name, codexLog(37));
    home.write(".codex/session_index.jsonl",
               R"({"id":")" + sessionIDForPath(codexFile(name)) + R"(","thread_name":"The name"})" + "\n");
    make();
    SessionResult session;
    session.path = codexFile(name);
    session.project = "app";
    EXPECT_EQ(state->displayName(session), "app");
    settle();
    EXPECT_EQ(state->displayName(session), "The name");
}

TEST_F(AppStateTest, endsWithWorkUnderWay) {
    std::filesystem::create_directories(home / ".codex/sessions");
    makeSettled();
    int changes = 0;
    QObject::connect(state.get(), &AppState::snapshotChanged, [&] { ++changes; });
    state->refresh();
    state->fullResult("/nowhere.jsonl", [&](const auto&) { ++changes; });
    events->happen();
    state.reset();
    while (!workers.waiting.empty())
        workers.run();
    loop.runPosted();
    loop.pass(60);
    loop.runPosted();
    EXPECT_EQ(changes, 0);
}

TEST_F(AppStateTest, hasNoTimerButTheOneForClaudesStatus) {
    makeSettled();
    EXPECT_EQ(loop.timerCount(), 1U);
    loop.pass(3600);
    EXPECT_EQ(loop.runPosted(), 0);
    EXPECT_TRUE(workers.waiting.empty()) << "time alone causes no scan";
}

}  // namespace
}  // namespace ledgerfern
