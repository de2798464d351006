#include "RolloutParser/RolloutParser.h"

#include <gtest/gtest.h>

#include "CodexLog.h"
#include "TempFolder.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::Json;
using test::lineTime;
using test::parsed;
using test::session;
using test::usage;

TEST(CodexState, finalizeTakesOverAllThatTheStateKnows) {
    const auto state = parsed(
        CodexLog()
            .at("2026-03-01T09:00:00Z")
            .meta("/home/ada/app",
                  {{"originator", "cli"},
                   {"source", {{"subagent", {{"thread_spawn", {{"agent_nickname", "Bo"}}}}}}}})
            .model("gpt-5")
            .message("user", "Fix it")
            .tokens(usage(9'000, 0, 10), std::nullopt,
                    Json{{"primary", {{"used_percent", 42.5}, {"resets_at", 7}}}, {"plan_type", "pro"}})
            .at("2026-03-01T11:00:00Z")
            .tokens(usage(18'000, 0, 20)));
    const SessionResult result = RolloutParser::finalize(state, "/logs/a.jsonl", ToolKind::claudeCode);
    EXPECT_EQ(result.path, "/logs/a.jsonl");
    EXPECT_EQ(result.id(), "/logs/a.jsonl");
    EXPECT_EQ(result.tool, ToolKind::claudeCode);
    EXPECT_EQ(result.project, "app");
    EXPECT_EQ(result.cwd, "/home/ada/app");
    EXPECT_EQ(result.originator, "cli");
    EXPECT_EQ(result.source, (SourceInfo{"", true, "Bo", std::nullopt, false}));
    EXPECT_EQ(result.model, "gpt-5");
    EXPECT_EQ(result.firstMessage, "Fix it");
    EXPECT_EQ(result.started, 1772355600.0);
    EXPECT_EQ(result.lastTs, 1772362800.0);
    EXPECT_EQ(result.requests.size(), 2U);
    EXPECT_EQ(result.totals.inputTokens, 18'000);
    ASSERT_NE(result.tools.find("user messages"), nullptr);
    EXPECT_EQ(result.tools.find("user messages")->attribInput, 9'000);
    EXPECT_EQ(result.rateLimit, (RateLimitInfo{42.5, std::nullopt, 7, "pro"}));
    ASSERT_EQ(result.rlDaily.size(), 1U);
    EXPECT_EQ(result.rlDaily.at("2026-03-01"), (DailyReading{lineTime(4), 42.5, 7}));
    EXPECT_EQ(result.insights.cacheBreaks, 1);
    EXPECT_EQ(result.insights.startupInput, 9'000);
}

TEST(CodexState, finalizeMayBeCalledAgainAndAgain) {
    const auto state = parsed(CodexLog().meta().tokens(usage(100, 0, 10)));
    EXPECT_EQ(session(state).totals.inputTokens, 100);
    EXPECT_EQ(session(state), session(state));
    EXPECT_EQ(state.totals.inputTokens, 0);
}

TEST(CodexState, aPublishedResultStaysWhileTheStateGoesOn) {
    CodexLog log;
    log.meta().shell("c1", "git push").tokens(usage(100, 0, 10));
    auto state = parsed(log);
    const SessionResult published = session(state);
    test::feed(state, CodexLog().shell("c2", "npm test").model("gpt-5").tokens(usage(300, 0, 30)).text);
    EXPECT_EQ(published, session(parsed(log)));
    EXPECT_EQ(session(state).requests.size(), 2U);
    EXPECT_EQ(session(state).requests[0], published.requests[0]);
}

TEST(CodexState, aCopyCanBeFinishedWhileTheOriginalGoesOn) {
    CodexLog log;
    log.meta().tokens(usage(100, 0, 10)).tokens(usage(150, 0, 20));
    log.text.pop_back();
    ParseState state = parsed(log);
    ParseState copy = state;
    RolloutParser::finishEOF(copy);
    EXPECT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(copy.requests.size(), 2U);
    EXPECT_EQ(session(copy).totals.inputTokens, 150);
    test::feed(state, "\n" + CodexLog().tokens(usage(170, 0, 21)).text);
    EXPECT_EQ(state.requests.size(), 3U);
    EXPECT_EQ(session(state).totals.inputTokens, 170);
    EXPECT_EQ(copy.requests.size(), 2U);
    EXPECT_EQ(test::request(copy, 1).d.inputTokens, 50);
}

TEST(CodexState, finishingAppliesACompleteLastLine) {
    CodexLog log;
    log.meta().tokens(usage(100, 0, 10));
    log.text.pop_back();
    auto state = parsed(log);
    EXPECT_FALSE(state.pendingPartial.empty());
    EXPECT_EQ(state.bytesConsumed, log.text.size());
    RolloutParser::finishEOF(state);
    EXPECT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(state.totals.inputTokens, 100);
    EXPECT_TRUE(state.pendingPartial.empty());
}

TEST(CodexState, finishingACutLineCountsItIfItHoldsAMarker) {
    auto state = parsed("{\"type\":\"event_msg\",\"payl");
    RolloutParser::finishEOF(state);
    EXPECT_EQ(state.malformedLines, 1);
    state = parsed("{\"type\":\"other\",\"payl");
    RolloutParser::finishEOF(state);
    EXPECT_EQ(state.malformedLines, 0);
}

TEST(CodexState, whatFollowsAFinishedStateCountsAnew) {
    auto state = parsed(CodexLog().meta().tokens(usage(100, 0, 10)));
    RolloutParser::finishEOF(state);
    RolloutParser::finishEOF(state);
    EXPECT_EQ(session(state).totals.inputTokens, 100) << "finishing twice closes nothing twice";
    test::feed(state, CodexLog().tokens(usage(150, 0, 15)).text);
    EXPECT_EQ(session(state).totals.inputTokens, 250);
}

TEST(CodexState, aFileIsReadFromWhereTheStateStands) {
    const test::TempFolder folder;
    const std::string path = folder.write("a.jsonl", CodexLog().meta().tokens(usage(100, 0, 10)).text);
    ParseState state;
    ASSERT_TRUE(RolloutParser::updateState(path, state));
    EXPECT_EQ(session(state).totals.inputTokens, 100);
    folder.append("a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text);
    ASSERT_TRUE(RolloutParser::updateState(path, state));
    EXPECT_EQ(state.requests.size(), 2U);
    EXPECT_EQ(state.bytesConsumed, std::filesystem::file_size(path));
    const auto whole = RolloutParser::parseFile(path);
    ASSERT_TRUE(whole.has_value());
    EXPECT_EQ(session(*whole), session(state));
    EXPECT_EQ(whole->segCum, std::nullopt) << "a whole file is finished";
}

TEST(CodexState, aFileThatIsNotThereLeavesTheStateUntouched) {
    ParseState state;
    EXPECT_FALSE(RolloutParser::updateState("/nowhere/at/all.jsonl", state));
    EXPECT_EQ(state.bytesConsumed, 0U);
    EXPECT_FALSE(RolloutParser::parseFile("/nowhere/at/all.jsonl").has_value());
    ParseState grown = parsed(CodexLog().meta().message("user", "x").tokens(usage(100, 0, 10)));
    const ParseState before = grown;
    EXPECT_FALSE(RolloutParser::updateState("/nowhere/at/all.jsonl", grown));
    EXPECT_EQ(grown.bytesConsumed, before.bytesConsumed);
    EXPECT_EQ(session(grown), session(before));
}

}  // namespace
}  // namespace ledgerfern
