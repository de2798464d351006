#include "RolloutParser/RolloutParser.h"

#include <gtest/gtest.h>

#include "CodexLog.h"
#include "Parsing/FirstText.h"
#include "TempFolder.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::Json;
using test::lineTime;
using test::parsed;
using test::session;
using test::usage;

SourceInfo sourceOf(std::string_view json) {
    JsonReader reader;
    return RolloutParser::extractSource(reader.read(json));
}

std::optional<std::string> textOf(const Json& content) {
    JsonReader reader;
    return RolloutParser::firstText(reader.read(content.dump()));
}

TEST(RolloutParser, aFreshStateIsNotUsable) {
    const ParseState state;
    EXPECT_FALSE(RolloutParser::usable(state));
    EXPECT_EQ(state.cwd, "?");
    EXPECT_EQ(state.project, "?");
    EXPECT_EQ(state.originator, "");
    EXPECT_EQ(state.bytesConsumed, 0U);
}

TEST(RolloutParser, readsTheMetaData) {
    const auto state =
        parsed(CodexLog().meta("/home/ada/my app/", {{"originator", "codex_cli"}, {"source", "cli"}}));
    EXPECT_TRUE(state.metaSet);
    EXPECT_EQ(state.cwd, "/home/ada/my app/");
    EXPECT_EQ(state.project, "my app");
    EXPECT_EQ(state.originator, "codex_cli");
    EXPECT_EQ(state.source.raw, "cli");
    EXPECT_FALSE(state.source.isSubagent);
    EXPECT_EQ(state.started, lineTime(1));
    EXPECT_FALSE(RolloutParser::usable(state)) << "a session needs a request";
}

TEST(RolloutParser, theProjectFollowsTheUsualPathRule) {
    EXPECT_EQ(parsed(CodexLog().meta("/")).project, "/");
    EXPECT_EQ(parsed(CodexLog().meta("")).project, "?");
    EXPECT_EQ(parsed(CodexLog().record("session_meta", {{"cwd", 7}})).project, "?");
}

TEST(RolloutParser, metaDataWithoutAPayloadOpensASegmentAllTheSame) {
    const auto state = parsed(CodexLog()
                                  .meta("/a/b")
                                  .tokens(usage(100, 0, 10))
                                  .record("session_meta", nullptr)
                                  .tokens(usage(30, 0, 3)));
    EXPECT_EQ(state.cwd, "?");
    EXPECT_EQ(state.originator, "");
    EXPECT_EQ(session(state).totals.inputTokens, 130);
    EXPECT_EQ(state.started, lineTime(1));
}

TEST(RolloutParser, theStartIsThePayloadsTimestampElseTheLines) {
    EXPECT_EQ(parsed(CodexLog().meta("/a", {{"timestamp", "2026-03-01T09:00:00Z"}})).started, 1772355600.0);
    EXPECT_EQ(parsed(CodexLog().meta("/a", {{"timestamp", "never"}})).started, lineTime(1));
    EXPECT_EQ(parsed(CodexLog().withoutTime().meta()).started, std::nullopt);
    EXPECT_EQ(parsed(CodexLog().withoutTime().meta().meta().meta()).started, lineTime(2))
        << "and then it stands";
}

TEST(RolloutParser, aLogWithoutMetaDataHasRequestsAndNoSession) {
    const auto state = parsed(CodexLog().tokens(usage(100, 0, 10)));
    EXPECT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(session(state).totals.inputTokens, 100);
    EXPECT_FALSE(RolloutParser::usable(state));
}

TEST(RolloutParser, twoSegmentsAddUpAndTheFirstStartStands) {
    auto state = parsed(CodexLog()
                            .meta("/one", {{"originator", "first"}, {"source", "cli"}})
                            .model("gpt-5")
                            .tokens(usage(100, 20, 10))
                            .tokens(usage(250, 40, 30))
                            .meta("/two", {{"originator", "second"}})
                            .tokens(usage(60, 0, 6)));
    RolloutParser::finishEOF(state);
    EXPECT_EQ(state.totals.inputTokens, 310);
    EXPECT_EQ(state.totals.outputTokens, 36);
    EXPECT_EQ(state.totals.totalTokens, 346);
    EXPECT_EQ(state.segCum, std::nullopt);
    EXPECT_EQ(state.started, lineTime(1));
    EXPECT_EQ(state.cwd, "/two");
    EXPECT_EQ(state.originator, "second");
    EXPECT_EQ(state.source, SourceInfo{});
    EXPECT_EQ(state.model, "gpt-5");
    ASSERT_EQ(state.requests.size(), 3U);
    EXPECT_EQ(test::request(state, 2).d.inputTokens, 60) << "a segment's first reading counts whole";
}

TEST(RolloutParser, theCountsLogKeepsOrdinalsAndCumulativeInput) {
    const auto state = parsed(
        CodexLog()
            .meta()
            .raw(
                R"({"type":"event_msg","ordinal":41,"payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":5}}}})")
            .raw(
                R"({"type":"event_msg","ordinal":"x","payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":9}}}})"));
    ASSERT_EQ(state.tcLog.size(), 2U);
    EXPECT_EQ(state.tcLog[0].ordinal, 41);
    EXPECT_EQ(state.tcLog[0].cumInput, 5);
    EXPECT_EQ(state.tcLog[1].ordinal, -1);
    EXPECT_EQ(state.tcLog[1].cumInput, 9);
}

TEST(RolloutParser, rateLimitsAreTheLastReadingAndTheFirstOfEachDay) {
    const auto limits = [](double used, std::int64_t resets) {
        return Json{{"primary", {{"used_percent", used}, {"window_minutes", 10080}, {"resets_at", resets}}},
                    {"plan_type", "team"}};
    };
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(1, 0, 1), std::nullopt, limits(42.5, 100))
                                  .tokens(usage(2, 0, 2), std::nullopt, limits(43.5, 200))
                                  .at("2026-03-02T00:00:00Z")
                                  .tokens(usage(3, 0, 3), std::nullopt, limits(1.5, 300)));
    EXPECT_EQ(state.lastRateLimit, (RateLimitInfo{1.5, 10080, 300, "team"}));
    ASSERT_EQ(state.rlDaily.size(), 2U);
    EXPECT_EQ(state.rlDaily.at("2026-03-01"), (DailyReading{lineTime(2), 42.5, 100}));
    EXPECT_EQ(state.rlDaily.at("2026-03-02"), (DailyReading{1772409600.0, 1.5, 300}));
}

TEST(RolloutParser, onlyThePrimaryWindowIsReadWithItsNumbersCut) {
    const auto state = parsed(CodexLog().meta().tokens(
        usage(1, 0, 1), std::nullopt,
        Json{{"primary", {{"used_percent", 42.5}, {"window_minutes", 300.9}, {"resets_at", 600.7}}},
             {"secondary", {{"used_percent", 99}, {"window_minutes", 10080}, {"resets_at", 9}}}}));
    EXPECT_EQ(state.lastRateLimit, (RateLimitInfo{42.5, 300, 600, std::nullopt}));
}

TEST(RolloutParser, aNewSegmentKeepsWhatTheOnesBeforeFound) {
    CodexLog log;
    log.meta().model("gpt-5").message("user", "Fix it").shell("c1", "git push");
    log.tokens(usage(9, 0, 1), std::nullopt, Json{{"primary", {{"used_percent", 42.5}}}});
    log.meta("/elsewhere").output("c1", "done").tokens(usage(100, 0, 10));
    const auto state = parsed(log);
    EXPECT_EQ(test::request(state, 1).dominant, "Shell · Git · push");
    EXPECT_EQ(test::request(state, 1).model, "gpt-5");
    EXPECT_EQ(state.lastRateLimit->usedPercent, 42.5);
    EXPECT_EQ(state.rlDaily.size(), 1U);
    EXPECT_EQ(state.firstUserMessage, "Fix it");
    EXPECT_TRUE(test::stat(state, "user messages").has_value());
}

TEST(RolloutParser, aReadingWithoutAPrimaryWindowReplacesTheOneBefore) {
    const auto state =
        parsed(CodexLog()
                   .meta()
                   .tokens(usage(1, 0, 1), std::nullopt, Json{{"primary", {{"used_percent", 42.5}}}})
                   .at("2026-03-05T00:00:00Z")
                   .tokens(usage(2, 0, 2), std::nullopt, Json{{"plan_type", "pro"}}));
    EXPECT_EQ(state.lastRateLimit, (RateLimitInfo{std::nullopt, std::nullopt, std::nullopt, "pro"}));
    EXPECT_EQ(state.rlDaily.size(), 1U);
}

TEST(RolloutParser, aReadingOfTheWrongTypesIsAbsent) {
    const auto state = parsed(
        CodexLog()
            .meta()
            .tokens(
                usage(1, 0, 1), std::nullopt,
                Json{{"primary", {{"used_percent", "x"}, {"window_minutes", nullptr}, {"resets_at", 1e300}}},
                     {"plan_type", 3}})
            .tokens(usage(2, 0, 2), std::nullopt, Json{{"primary", {{"used_percent", 1e300}}}})
            .tokens(usage(3, 0, 3), std::nullopt, Json::array()));
    EXPECT_EQ(state.lastRateLimit, RateLimitInfo{});
    EXPECT_TRUE(state.rlDaily.empty());
}

TEST(RolloutParser, aDaysReadingNeedsATimestamp) {
    const auto state = parsed(CodexLog().meta().withoutTime().tokens(
        usage(1, 0, 1), std::nullopt, Json{{"primary", {{"used_percent", true}}}}));
    EXPECT_EQ(state.lastRateLimit->usedPercent, 1.0);
    EXPECT_TRUE(state.rlDaily.empty());
}

TEST(RolloutParser, countsCompactionsAndMarksTheNextRequest) {
    auto state = parsed(CodexLog().meta().event("context_compacted"));
    EXPECT_EQ(state.compactions, 1);
    EXPECT_TRUE(state.cacheTracker.pendingCompaction);
    state = parsed(CodexLog().meta().record("compacted", Json::object()));
    EXPECT_EQ(state.compactions, 0);
    EXPECT_TRUE(state.cacheTracker.pendingCompaction);
    state = parsed(CodexLog().meta().record("compacted", Json::object()).meta());
    EXPECT_FALSE(state.cacheTracker.pendingCompaction) << "a segment starts with a fresh tracker";
}

TEST(RolloutParser, countsResponseItemsWithAPayload) {
    const auto state = parsed(CodexLog()
                                  .item("unheard_of")
                                  .item("message", {{"role", "user"}})
                                  .record("response_item", nullptr)
                                  .record("response_item", Json::object()));
    EXPECT_EQ(state.responseItems, 3);
    EXPECT_EQ(state.window.size(), 1U);
}

TEST(RolloutParser, theFirstPlainUserTextNamesTheSession) {
    const auto state =
        parsed(CodexLog()
                   .message("system", "be good")
                   .message("user", "<tags>\nnot a name")
                   .message("user", Json::array({{{"text", "  Fix"}}, {{"image", 1}}, {{"text", "it \n"}}}))
                   .message("user", "Later"));
    EXPECT_EQ(state.firstUserMessage, "Fix it");
}

TEST(RolloutParser, theFirstTextIsCutToNinetyCharacters) {
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    std::string text, ninety;
    for (int i = 0; i < 100; ++i)
        text += family;
    for (int i = 0; i < 90; ++i)
        ninety += family;
    EXPECT_EQ(textOf(text), ninety);
    EXPECT_EQ(textOf(std::string(90, 'x')), std::string(90, 'x'));
    EXPECT_EQ(textOf(std::string(91, 'x')), std::string(90, 'x'));
}

TEST(RolloutParser, theFirstTextOfAnythingElseIsAbsent) {
    EXPECT_EQ(textOf(Json::array({{{"text", "a"}}, "b"})), std::nullopt) << "one element isn't an object";
    EXPECT_EQ(textOf(Json::array({{{"text", 1}}})), std::nullopt);
    EXPECT_EQ(textOf(Json::array()), std::nullopt);
    EXPECT_EQ(textOf(Json::array({{{"text", ""}}, {{"text", "b"}}})), "b");
    EXPECT_EQ(textOf(" \u00A0\u2028\t\n "), std::nullopt);
    EXPECT_EQ(textOf(" \u200B "), "\u200B") << "no white space, by Unicode";
    EXPECT_EQ(textOf(nullptr), std::nullopt);
    EXPECT_EQ(textOf(12), std::nullopt);
    EXPECT_EQ(textOf(Json::object()), std::nullopt);
    EXPECT_EQ(RolloutParser::firstText(std::nullopt), std::nullopt);
}

TEST(RolloutParser, aSourceTellsWhoStartedTheSession) {
    EXPECT_EQ(sourceOf("\"cli\""), (SourceInfo{"cli", false, std::nullopt, std::nullopt, false}));
    EXPECT_EQ(sourceOf("{}"), (SourceInfo{"", true, std::nullopt, std::nullopt, false}));
    EXPECT_EQ(sourceOf(R"({"subagent":"review"})"),
              (SourceInfo{"", true, std::nullopt, std::nullopt, false}));
    EXPECT_EQ(sourceOf(R"({"subagent":{"other":"guardian"}})"),
              (SourceInfo{"", true, std::nullopt, std::nullopt, true}));
    EXPECT_EQ(sourceOf(R"({"subagent":{"other":"guard"}})"),
              (SourceInfo{"", true, std::nullopt, std::nullopt, false}));
    EXPECT_EQ(sourceOf(R"({"subagent":{"thread_spawn":{"agent_nickname":"Ada","parent_thread_id":"p1"}}})"),
              (SourceInfo{"", true, "Ada", "p1", false}));
    EXPECT_EQ(sourceOf(R"({"subagent":{"thread_spawn":{"agent_nickname":7}}})"),
              (SourceInfo{"", true, std::nullopt, std::nullopt, false}));
    EXPECT_EQ(sourceOf("null"), SourceInfo{});
    EXPECT_EQ(sourceOf("[1]"), SourceInfo{});
    EXPECT_EQ(RolloutParser::extractSource(std::nullopt), SourceInfo{});
}

TEST(RolloutParser, theModelIsTheLatestNamed) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(1, 0, 1))
                                  .model("gpt-5")
                                  .tokens(usage(2, 0, 2))
                                  .event("thread_settings_applied", {{"thread_settings", {{"model", 5}}}})
                                  .event("thread_settings_applied", {{"thread_settings", "x"}})
                                  .tokens(usage(3, 0, 3))
                                  .model("gpt-6"));
    EXPECT_EQ(state.model, "gpt-6");
    EXPECT_EQ(test::request(state, 0).model, std::nullopt) << "not filled in afterwards";
    EXPECT_EQ(test::request(state, 1).model, "gpt-5");
    EXPECT_EQ(test::request(state, 2).model, "gpt-5");
}

TEST(RolloutParser, aLaterSegmentWithoutAnOriginatorHasNone) {
    const auto state = parsed(CodexLog().meta("/a", {{"originator", "cli"}}).meta("/b"));
    EXPECT_EQ(state.originator, "");
}

}  // namespace
}  // namespace ledgerfern
