#include <filesystem>

#include "AppStateFixture.h"
#include "ClaudeLimits/ClaudeStatusLine.h"
#include "UsageRecords/TSDate.h"

// What comes of a snapshot.

namespace ledgerfern {
namespace {

using test::AppStateFixture;
using test::CodexLog;
using test::usage;

using AppStateApplyTest = AppStateFixture;

TEST_F(AppStateApplyTest, roundsTheWorstLimitOnce) {
    writeCodex("limit.jsonl", codexLog(37.4));
    makeSettled();
    EXPECT_EQ(state->statusText(), "37%");
    EXPECT_EQ(state->worstPercent(), 37.4);
    readLimit(37.5);
    EXPECT_EQ(state->statusText(), "38%");
    updateAvailable = true;
    readLimit(99.5);
    EXPECT_EQ(state->statusText(), "100% ⤓");
}

TEST_F(AppStateApplyTest, showsNoPercentWhereNoLimitIsKnown) {
    makeSettled();
    EXPECT_EQ(state->statusText(), "0%");
    EXPECT_EQ(state->worstPercent(), 0.0);
}

TEST_F(AppStateApplyTest, choosesTheSymbolByUnevenSteps) {
    writeCodex("limit.jsonl", codexLog(1));
    makeSettled();
    const std::vector<std::pair<double, QString>> symbols = {{19.99, "0"},  {20, "33"},    {44.99, "33"},
                                                             {45, "50"},    {66.99, "50"}, {67, "67"},
                                                             {89.99, "67"}, {90, "100"},   {250, "100"}};
    for (const auto& [percent, symbol] : symbols) {
        readLimit(percent);
        EXPECT_EQ(state->statusSymbol(), "gauge.with.dots.needle." + symbol + "percent") << percent;
    }
}

TEST_F(AppStateApplyTest, takesTheWorstOfThreeLimits) {
    writeCodex("limit.jsonl", codexLog(30));
    writeStatus(55, 41, start);
    makeSettled();
    EXPECT_EQ(state->statusText(), "55%");
    EXPECT_EQ(state->claudeFiveHour()->usedPercent, 55.0);
    EXPECT_EQ(state->snapshot()->aggregates.latestRateLimitsByTool.at(ToolKind::claudeCode).usedPercent,
              41.0);
    writeStatus(5, 61, start + 1);
    look();
    EXPECT_EQ(state->statusText(), "61%");
}

TEST_F(AppStateApplyTest, notifiesOfEachThresholdBetweenTwoReadings) {
    writeCodex("limit.jsonl", codexLog(49));
    makeSettled();
    EXPECT_TRUE(notifications.posted.empty());
    readLimit(81);
    EXPECT_EQ(postedTitles(),
              (std::vector<std::string>{"Codex weekly limit at 50%", "Codex weekly limit at 80%"}));
}

TEST_F(AppStateApplyTest, doesntNotifyOfTheFirstReading) {
    writeCodex("limit.jsonl", codexLog(81));
    writeStatus(96, 97, start);
    makeSettled();
    EXPECT_TRUE(notifications.posted.empty());
}

TEST_F(AppStateApplyTest, notifiesAgainInANewWindow) {
    writeCodex("limit.jsonl", codexLog(49));
    makeSettled();
    readLimit(60);
    readLimit(3);
    EXPECT_EQ(notifications.posted.size(), 1U);
    readLimit(52);
    EXPECT_EQ(notifications.posted.size(), 2U);
    EXPECT_EQ(notifications.posted[0].identifier, notifications.posted[1].identifier);
}

TEST_F(AppStateApplyTest, owesNothingForTheTimeThatNotificationsWereOff) {
    writeCodex("limit.jsonl", codexLog(49));
    makeSettled();
    state->setNotificationsEnabled(false);
    readLimit(81);
    state->setNotificationsEnabled(true);
    readLimit(82);
    EXPECT_TRUE(notifications.posted.empty());
}

TEST_F(AppStateApplyTest, namesEachLimitInItsNotification) {
    writeStatus(10, 20, start);
    makeSettled();
    writeStatus(96, 60, start + 1);
    look();
    EXPECT_EQ(postedTitles(),
              (std::vector<std::string>{"Claude weekly limit at 50%", "Claude 5-hour limit at 50%",
                                        "Claude 5-hour limit at 80%", "Claude 5-hour limit at 95%"}));
}

TEST_F(AppStateApplyTest, tellsOfLinesThatCouldntBeRead) {
    writeCodex("a.jsonl", codexLog(37) + "{\"type\":\"event_msg\",\"payload\":{\"type\":\"token_count\"\n");
    makeSettled();
    EXPECT_EQ(state->lastError(), "1 malformed session lines skipped");
    std::filesystem::remove(codexFile("a.jsonl"));
    rescan();
    EXPECT_FALSE(state->lastError());
}

TEST_F(AppStateApplyTest, takesUpANewStatusFileWithoutAScan) {
    makeSettled();
    EXPECT_FALSE(state->claudeFiveHour());
    writeStatus(55, 41, start);
    writeCodex("new.jsonl", codexLog(1));
    look();
    EXPECT_EQ(state->claudeFiveHour()->usedPercent, 55.0);
    EXPECT_EQ(sessionCount(), 0U);
}

TEST_F(AppStateApplyTest, comparesTheStatusFilesTimeAndNotItsContent) {
    writeStatus(55, 41, start);
    makeSettled();
    writeStatus(66, 41, start);
    look();
    EXPECT_EQ(state->claudeFiveHour()->usedPercent, 55.0);
    writeStatus(66, 41, start - 100);
    look();
    EXPECT_EQ(state->claudeFiveHour()->usedPercent, 66.0) << "an older time is another time";
}

TEST_F(AppStateApplyTest, clearsClaudesLimitsWhenTheStatusFileVanishes) {
    writeCodex("limit.jsonl", codexLog(30));
    writeStatus(55, 41, start);
    makeSettled();
    std::filesystem::remove(supportFile("claude-status.json"));
    loop.pass(19.9);
    settle();
    EXPECT_EQ(state->statusText(), "55%");
    look();
    EXPECT_EQ(state->statusText(), "30%");
    EXPECT_FALSE(state->claudeFiveHour());
    EXPECT_FALSE(state->snapshot()->aggregates.latestRateLimitsByTool.contains(ToolKind::claudeCode));
    EXPECT_FALSE(state->snapshot()->aggregates.cycleAnchorsByTool.contains(ToolKind::claudeCode));
}

TEST_F(AppStateApplyTest, preparesANewerSnapshotInsteadOfTheOneThatItReplaced) {
    makeSettled();
    writeStatus(55, 41, start);
    loop.pass(20);
    loop.runPosted();
    ASSERT_EQ(workers.waiting.size(), 1U);
    workers.run();  // prepared, but not taken in yet
    writeCodex("new.jsonl", codexLog(1));
    FakeMainLoop::Work late = loop.takePosted();
    rescan();
    EXPECT_EQ(sessionCount(), 1U);
    late();
    settle();
    EXPECT_EQ(sessionCount(), 1U);
    EXPECT_EQ(state->claudeFiveHour()->usedPercent, 55.0);
}

TEST_F(AppStateApplyTest, connectsAndDisconnectsClaudesLimits) {
    makeSettled();
    EXPECT_FALSE(state->claudeLimitsConnected());
    EXPECT_TRUE(state->connectClaudeLimits());
    EXPECT_TRUE(state->claudeLimitsConnected());
    EXPECT_TRUE(ClaudeStatusLine::isInstalled(home / ".claude/settings.json",
                                              home / "Library/Application Support/Ledgerfern"));
    writeStatus(55, 41, start);
    look();
    EXPECT_EQ(state->statusText(), "55%");

    EXPECT_TRUE(state->disconnectClaudeLimits());
    EXPECT_FALSE(state->claudeLimitsConnected());
    EXPECT_FALSE(state->claudeFiveHour());
    EXPECT_FALSE(std::filesystem::exists(supportFile("claude-status.json")));
    settle();
    EXPECT_EQ(state->statusText(), "0%");
    look();
    EXPECT_EQ(state->statusText(), "0%");
}

TEST_F(AppStateApplyTest, isntConnectedWhereConnectingFails) {
    makeSettled();
    home.write(".claude/settings.json", "[1]");
    const Result result = state->connectClaudeLimits();
    ASSERT_FALSE(result);
    EXPECT_NE(result.error->find("isn't a JSON object; not changing it."), std::string::npos);
    EXPECT_FALSE(state->claudeLimitsConnected());
}

TEST_F(AppStateApplyTest, disconnectsWhereTheStatusFileCantBeRemoved) {
    makeSettled();
    EXPECT_TRUE(state->connectClaudeLimits());
    writeStatus(55, 41, start);
    look();
    std::filesystem::remove(supportFile("claude-status.json"));
    std::filesystem::create_directory(supportFile("claude-status.json"));
    EXPECT_TRUE(state->disconnectClaudeLimits());
    EXPECT_TRUE(std::filesystem::exists(supportFile("claude-status.json")));
    EXPECT_FALSE(state->claudeLimitsConnected());
    settle();
    EXPECT_EQ(state->statusText(), "0%");
    EXPECT_FALSE(state->claudeFiveHour());
}

TEST_F(AppStateApplyTest, staysConnectedWhereDisconnectingFails) {
    makeSettled();
    EXPECT_TRUE(state->connectClaudeLimits());
    writeStatus(55, 41, start);
    look();
    home.write(".claude/settings.json", "[1]");
    const Result result = state->disconnectClaudeLimits();
    ASSERT_FALSE(result);
    EXPECT_NE(result.error->find("isn't a JSON object; not changing it."), std::string::npos);
    EXPECT_TRUE(state->claudeLimitsConnected());
    EXPECT_TRUE(std::filesystem::exists(supportFile("claude-status.json")));
    EXPECT_EQ(state->statusText(), "55%");
}

TEST_F(AppStateApplyTest, knowsAtTheStartThatClaudesLimitsAreConnected) {
    make();
    EXPECT_TRUE(state->connectClaudeLimits());
    state.reset();
    make();
    EXPECT_TRUE(state->claudeLimitsConnected());
}

TEST_F(AppStateApplyTest, pricesTodayByTheSessionsModel) {
    const Instant midnight = TSDate::localDay(start).start;
    CodexLog log;
    log.meta().model("gpt-5.5");
    log.at(timestamp(midnight - 60)).tokens(usage(1'000'000, 0, 0));
    log.at(timestamp(midnight)).tokens(usage(3'000'000, 0, 0));
    log.at(timestamp(midnight + 60)).model("gpt-5.6-sol");
    log.at(timestamp(midnight + 120)).tokens(usage(4'000'000, 0, 0));
    writeCodex("a.jsonl", log.text);
    preferences->bytesByKey["costEstimator.prices"] =
        R"({"gpt-5.5":{"input":1,"cachedInput":1,"output":1},"gpt-5.6-sol":{"input":10,"cachedInput":1,"output":1}})";
    makeSettled();
    const auto& session = *state->snapshot()->sessions.at(0);
    ASSERT_EQ(session.model, "gpt-5.6-sol");
    EXPECT_DOUBLE_EQ(state->todayCostUSD(), 30.0) << "the requests from midnight on, all at the last model";
    EXPECT_TRUE(state->dailyCostTrend().size() == 1 && state->dailyCostTrend()[0].value == 30.0);
}

}  // namespace
}  // namespace ledgerfern
