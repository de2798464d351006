#include "RolloutParser/RolloutParser.h"

#include <gtest/gtest.h>

#include "CodexLog.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::Json;
using test::parsed;
using test::session;
using test::usage;

TEST(CodexLines, theLastTimestampIsTheLargestOfAllDecodedLines) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .at("2026-03-01T12:00:00Z")
                                  .event("something_else")
                                  .event("agent_message")
                                  .at("2026-03-02T12:00:00Z")
                                  .record("turn_context", {{"no", "marker"}}));
    EXPECT_EQ(state.lastTs, 1772366400.0) << "a line without a marker isn't decoded";
}

TEST(CodexLines, aMarkerInsideAStringLetsALinePass) {
    const auto state =
        parsed(CodexLog().raw(R"({"type":"note","timestamp":"2026-03-01T12:00:00Z","keys":["event_msg"]})"));
    EXPECT_EQ(state.lastTs, 1772366400.0);
}

TEST(CodexLines, aMarkerSpelledWithEscapesIsNotThere) {
    const auto state =
        parsed(CodexLog()
                   .meta()
                   .raw(R"({"type":"event\u005fmsg","payload":{"type":"token\u005fcount","info":)"
                        R"({"total_token_usage":{"input_tokens":5}}}})")
                   .raw(R"({"type":"event\u005fmsg","payload":{"type":"token_count","info":)"
                        R"({"total_token_usage":{"input_tokens":7}}}})"));
    ASSERT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(test::request(state, 0).d.inputTokens, 7);
}

TEST(CodexLines, onlyBrokenLinesWithAMarkerAreMalformed) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .raw("{\"no marker")
                                  .raw("")
                                  .raw("{\"type\":\"event_msg\",")
                                  .raw("[\"event_msg\"]")
                                  .raw("\"event_msg\"")
                                  .raw("{\"call_id\":")
                                  .raw("{\"type\":\"event_msg\"} {}")
                                  .raw("{\"type\":\"event_msg\",\"x\":\"\x01\"}")
                                  .raw("{\"type\":\"event_msg\",\"x\":\"\xFF\"}")
                                  .raw("\xEF\xBB\xBF{\"type\":\"event_msg\"}"));
    EXPECT_EQ(state.malformedLines, 7);
}

TEST(CodexLines, validLinesOfAnyShapeAreRead) {
    const std::string deep = std::string(1022, '[') + std::string(1022, ']');
    const auto state = parsed(
        CodexLog()
            .meta()
            .raw(
                R"({"type":"event_msg","cut":"\ud83d","payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":10}}}})")
            .raw(
                R"({"type":"event_msg","big":123456789012345678901234567890,"payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":20}}}})")
            .raw(
                R"({"type":"event_msg","huge":1e999,"payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":30}}}})")
            .raw(R"({"type":"event_msg","deep":[)" + deep +
                 R"(],"payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":40}}}})"));
    EXPECT_EQ(state.malformedLines, 0);
    ASSERT_EQ(state.requests.size(), 4U);
    EXPECT_EQ(session(state).totals.inputTokens, 40);
}

TEST(CodexLines, ofTwoEqualKeysTheLastCounts) {
    const auto state = parsed(CodexLog().meta().raw(
        R"({"type":"response_item","type":"event_msg","payload":{"type":"nothing"},"payload":{"type":"token_count",)"
        R"("info":null,"info":{"total_token_usage":{"input_tokens":1,"input_tokens":2}}}})"));
    ASSERT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(test::request(state, 0).d.inputTokens, 2);
}

TEST(CodexLines, aTokenCountWithoutATotalIsPassedOverWithItsRateLimits) {
    const Json limits = {{"primary", {{"used_percent", 50}}}};
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .event("token_count", {{"info", nullptr}, {"rate_limits", limits}})
                                  .event("token_count", {{"info", {{"last_token_usage", usage(1, 1, 1)}}}})
                                  .event("token_count", {{"info", {{"total_token_usage", 5}}}}));
    EXPECT_TRUE(state.requests.empty());
    EXPECT_FALSE(state.sawRequests);
    EXPECT_EQ(state.lastRateLimit, std::nullopt);
    EXPECT_TRUE(state.tcLog.empty());
}

TEST(CodexLines, numbersAreCutAndBooleansAreOneAndZero) {
    const auto state = parsed(CodexLog().meta().event("token_count", {{"info",
                                                                       {{"total_token_usage",
                                                                         {{"input_tokens", 12.9},
                                                                          {"cached_input_tokens", true},
                                                                          {"cache_write_input_tokens", false},
                                                                          {"output_tokens", "7"},
                                                                          {"reasoning_output_tokens", -3.9},
                                                                          {"total_tokens", 1e30}}}}}}));
    const auto d = test::request(state, 0).d;
    EXPECT_EQ(d, (UsageTotals{12, 1, 0, 0, -3, 0}));
}

TEST(CodexLines, eachMarkerAloneLetsALinePass) {
    for (const std::string marker : {"session_meta", "response_item", "token_count", "context_compacted",
                                     "compacted", "thread_settings_applied", "rate_limits", "event_msg"}) {
        const auto state =
            parsed(CodexLog().raw(R"({"timestamp":"2026-03-01T12:00:00Z",")" + marker + "\":1}"));
        EXPECT_EQ(state.lastTs, 1772366400.0) << marker;
        EXPECT_EQ(parsed(CodexLog().raw("{\"" + marker + "\"")).malformedLines, 1) << marker;
        EXPECT_EQ(parsed(CodexLog().raw("{\"" + marker + "s\"")).malformedLines, 0) << marker;
    }
}

TEST(CodexLines, aTokenCountWithUsageIsSeen) {
    EXPECT_TRUE(parsed(CodexLog().meta().tokens(usage(0, 0, 0))).sawRequests);
}

TEST(CodexLines, applyTakesOneLine) {
    ParseState state;
    RolloutParser::apply("", state);
    RolloutParser::apply(R"({"type":"session_meta","payload":{"cwd":"/a"}})", state);
    RolloutParser::apply(
        R"({"type":"event_msg","payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":9}}}})",
        state);
    EXPECT_TRUE(RolloutParser::usable(state));
    EXPECT_EQ(session(state).totals.inputTokens, 9);
}

}  // namespace
}  // namespace ledgerfern
