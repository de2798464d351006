#include <gtest/gtest.h>

#include <limits>

#include "CodexLog.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::feed;
using test::Json;
using test::parsed;
using test::request;
using test::session;
using test::stat;
using test::usage;

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

/// An assistant item of "assistant output (replayed)" whose compact payload has `size` characters.
Json assistantOfSize(std::size_t size) {
    Json payload = {{"type", "reasoning"}, {"x", ""}};
    payload["x"] = std::string(size - payload.dump().size(), 'x');
    return payload;
}

TEST(CodexAccounting, theFirstRequestOfASegmentIsTheWholeReading) {
    const auto state = parsed(CodexLog().meta().item("reasoning").tokens(usage(1000, 400, 70)));
    EXPECT_EQ(request(state, 0).d, (UsageTotals{1000, 400, 0, 70, 0, 1070}));
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 1000, 70}));
}

TEST(CodexAccounting, aFirstLastOutputOfZeroFallsBackToTheTotals) {
    const auto state =
        parsed(CodexLog().meta().item("reasoning").tokens(usage(1000, 0, 70), usage(1000, 0, 0)));
    EXPECT_EQ(stat(state, "assistant output (replayed)")->attribOutput, 70);
}

TEST(CodexAccounting, aFirstLastOutputThatIsGivenCounts) {
    const auto state =
        parsed(CodexLog().meta().item("reasoning").tokens(usage(1000, 0, 70), usage(100, 0, 7)));
    EXPECT_EQ(stat(state, "assistant output (replayed)")->attribOutput, 7);
}

TEST(CodexAccounting, aLaterLastOutputOfZeroStands) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(1000, 0, 70))
                                  .item("reasoning")
                                  .tokens(usage(2000, 0, 90), usage(1000, 0, 0)));
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 1000, 0}));
}

TEST(CodexAccounting, aLaterRequestWithoutALastUsageHasItsDeltasOutput) {
    const auto state =
        parsed(CodexLog().meta().tokens(usage(1000, 0, 70)).item("reasoning").tokens(usage(2000, 0, 90)));
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 1000, 20}));
}

TEST(CodexAccounting, aFallingTotalGivesZeroAndCountsOnFromThere) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(100, 0, 1))
                                  .tokens(usage(150, 0, 2))
                                  .tokens(usage(120, 0, 3))
                                  .tokens(usage(170, 0, 4)));
    ASSERT_EQ(state.requests.size(), 4U);
    EXPECT_EQ(request(state, 0).d.inputTokens, 100);
    EXPECT_EQ(request(state, 1).d.inputTokens, 50);
    EXPECT_EQ(request(state, 2).d.inputTokens, 0);
    EXPECT_EQ(request(state, 2).d.outputTokens, 1);
    EXPECT_EQ(request(state, 3).d.inputTokens, 50);
    EXPECT_EQ(session(state).totals.inputTokens, 170) << "the last reading, not the sum of the deltas";
}

TEST(CodexAccounting, aSegmentThatEndsLowContributesItsLastReading) {
    CodexLog log;
    log.meta().tokens(usage(100, 0, 1)).tokens(usage(150, 0, 2)).tokens(usage(120, 0, 2));
    EXPECT_EQ(session(parsed(log)).totals.inputTokens, 120);
    EXPECT_EQ(session(parsed(log.meta().tokens(usage(7, 0, 1)))).totals.inputTokens, 127);
}

TEST(CodexAccounting, aRepeatedTotalIsARequestOfZeros) {
    const auto state = parsed(
        CodexLog().meta().message("user", "hello").tokens(usage(100, 0, 10)).tokens(usage(100, 0, 10)));
    ASSERT_EQ(state.requests.size(), 2U);
    EXPECT_EQ(request(state, 1).d, UsageTotals{});
    EXPECT_EQ(request(state, 0).dominant, "user messages");
    EXPECT_EQ(request(state, 1).dominant, std::nullopt);
}

TEST(CodexAccounting, aRepeatedTotalStillSharesAGivenOutput) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(100, 0, 10))
                                  .item("reasoning")
                                  .tokens(usage(100, 0, 10), usage(100, 0, 10)));
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 0, 10}));
}

TEST(CodexAccounting, sharesInputOverAllItemsAndOutputOverTheModels) {
    Json call = {{"type", "web_search_call"}, {"x", ""}};
    call["x"] = std::string(100 - call.dump().size(), 'x');
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .output("unknown", std::string(300, 'o'))
                                  .message("user", std::string(100, 'u'))
                                  .record("response_item", call)
                                  .tokens(usage(1000, 0, 50)));
    EXPECT_EQ(stat(state, "tool:result"), (ToolStat{0, 600, 0}));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 200, 0}));
    EXPECT_EQ(stat(state, "tool:web_search"), (ToolStat{1, 200, 50}));
    EXPECT_EQ(request(state, 0).dominant, "tool:result");
}

TEST(CodexAccounting, sharesAreCutTowardZeroEachByItself) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .output("a", "x")
                                  .message("user", "x")
                                  .message("system", "x")
                                  .tokens(usage(100, 0, 0)));
    EXPECT_EQ(stat(state, "tool:result")->attribInput, 33);
    EXPECT_EQ(stat(state, "user messages")->attribInput, 66);
}

TEST(CodexAccounting, ofTwoEqualAdditionsTheFirstIsDominant) {
    const auto state =
        parsed(CodexLog().meta().output("a", "same").message("user", "size").tokens(usage(10, 0, 1)));
    EXPECT_EQ(request(state, 0).dominant, "tool:result");
}

TEST(CodexAccounting, anAssistantItemIsNeverDominant) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .record("response_item", assistantOfSize(500))
                                  .message("user", "")
                                  .tokens(usage(10, 0, 1)));
    EXPECT_EQ(request(state, 0).dominant, "user messages") << "even an addition without a size comes first";
}

TEST(CodexAccounting, anEmptyWindowRecordsARequestAndNoStatistics) {
    const auto state = parsed(CodexLog().meta().tokens(usage(1000, 0, 50)));
    ASSERT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(request(state, 0).dominant, std::nullopt);
    EXPECT_TRUE(test::labels(state).empty());
}

TEST(CodexAccounting, itemsWithoutASizeGetEntriesAllTheSame) {
    const auto state =
        parsed(CodexLog().meta().message("user", "").output("a", "").tokens(usage(1000, 0, 50)));
    EXPECT_EQ(stat(state, "user messages"), ToolStat{});
    EXPECT_EQ(stat(state, "tool:result"), ToolStat{});
    EXPECT_EQ(request(state, 0).dominant, "user messages");
}

TEST(CodexAccounting, itemsAfterTheLastCountAreNeverAttributed) {
    auto state = parsed(CodexLog().meta().tokens(usage(10, 0, 1)).message("user", "more"));
    RolloutParser::finishEOF(state);
    EXPECT_TRUE(test::labels(state).empty());
    EXPECT_EQ(state.window.size(), 1U);
}

TEST(CodexAccounting, aNewSegmentDropsTheItemsGatheredSoFar) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .message("user", "counted")
                                  .tokens(usage(10, 0, 1))
                                  .output("a", "dropped")
                                  .meta()
                                  .item("reasoning")
                                  .tokens(usage(10, 0, 1)));
    EXPECT_EQ(test::labels(state),
              (std::vector<std::string>{"assistant output (replayed)", "user messages"}));
}

TEST(CodexAccounting, beforeTheCutOffRequestsAreCountedAndNotAttributed) {
    ParseState state;
    state.attribCutoff = test::lineTime(5);
    feed(state, CodexLog()
                    .meta()
                    .message("user", "early")
                    .tokens(usage(10, 0, 1))  // line 3
                    .output("a", "exactly at the cut-off")
                    .tokens(usage(20, 0, 2))  // line 5
                    .item("reasoning")
                    .withoutTime()
                    .tokens(usage(30, 0, 3))
                    .text);
    ASSERT_EQ(state.requests.size(), 3U);
    EXPECT_EQ(test::labels(state), (std::vector<std::string>{"tool:result"}));
    EXPECT_EQ(stat(state, "tool:result")->attribInput, 10);
    EXPECT_EQ(request(state, 0).dominant, "user messages");
    EXPECT_EQ(request(state, 2).ts, std::nullopt);
    EXPECT_TRUE(state.window.empty());
}

TEST(CodexAccounting, cacheStatisticsSeeTheRequestsOwnUsageWhereTheLogGivesIt) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(10'000, 0, 1), usage(5'000, 0, 1))
                                  .tokens(usage(20'000, 0, 2), usage(6'000, 100, 1))
                                  .tokens(usage(29'000, 0, 2)));
    EXPECT_EQ(state.insights.startupInput, 5'000);
    EXPECT_EQ(state.insights.peakInput, 9'000) << "without the request's own usage, the delta";
    EXPECT_EQ(state.insights.cacheBreaks, 1);
    EXPECT_EQ(state.insights.rebuiltTokens, 5'900);
}

TEST(CodexAccounting, aBreaksReasonComesFromTheRequestsTimeAndModel) {
    const auto idle = parsed(CodexLog()
                                 .meta()
                                 .at("2026-03-01T10:00:00Z")
                                 .tokens(usage(9'000, 0, 1))
                                 .at("2026-03-01T10:05:00Z")
                                 .tokens(usage(18'000, 0, 2)));
    EXPECT_EQ(idle.insights.breakReasons, (std::map<std::string, std::int64_t>{{"idle", 1}}));
    const auto switched = parsed(
        CodexLog().meta().model("one").tokens(usage(9'000, 0, 1)).model("two").tokens(usage(18'000, 0, 2)));
    EXPECT_EQ(switched.insights.breakReasons, (std::map<std::string, std::int64_t>{{"model switch", 1}}));
}

TEST(CodexAccounting, sharesAreComputedInDoublePrecision) {
    // 2^53 + 1 has no double of its own: the whole of it comes out as 2^53.
    const std::int64_t odd = (std::int64_t{1} << 53) + 1;
    const auto state = parsed(CodexLog().meta().message("user", "x").tokens(usage(odd, 0, 0)));
    EXPECT_EQ(stat(state, "user messages")->attribInput, odd - 1);
}

TEST(CodexAccounting, aSegmentsFirstRequestIsNoBreak) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(9'000, 0, 1))
                                  .meta()
                                  .tokens(usage(9'000, 0, 1))
                                  .tokens(usage(18'000, 8'000, 2)));
    EXPECT_EQ(state.insights.cacheBreaks, 0);
    EXPECT_EQ(state.insights.startupInput, 9'000);
}

TEST(CodexAccounting, insightsGoOnThroughASegmentsEnd) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .tokens(usage(9'000, 0, 1))
                                  .tokens(usage(20'000, 100, 2))
                                  .meta()
                                  .tokens(usage(5'000, 0, 1)));
    EXPECT_EQ(state.insights.cacheBreaks, 1);
    EXPECT_EQ(state.insights.startupInput, 9'000);
    EXPECT_EQ(state.insights.peakInput, 11'000);
}

TEST(CodexAccounting, aCompactionExcusesTheLossOfTheCache) {
    for (const bool event : {true, false}) {
        CodexLog log;
        log.meta().tokens(usage(9'000, 0, 1));
        if (event)
            log.event("context_compacted");
        else
            log.record("compacted", Json::object());
        const auto state = parsed(log.tokens(usage(18'000, 0, 2)));
        EXPECT_EQ(state.insights.breakReasons, (std::map<std::string, std::int64_t>{{"compaction", 1}}));
        EXPECT_EQ(state.insights.cacheBreaks, 0);
        EXPECT_EQ(state.insights.rebuiltTokens, 0);
    }
}

TEST(CodexAccounting, aMessageOfAnotherRoleIsReplayedOutput) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .message("developer", "text")
                                  .item("message", {{"content", "no role"}})
                                  .item("reasoning", {{"role", "user"}, {"content", "four"}})
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(test::labels(state),
              (std::vector<std::string>{"assistant output (replayed)", "user messages"}));
    EXPECT_EQ(request(state, 0).dominant, "user messages");
}

TEST(CodexAccounting, aShareThatDoesNotFit64BitsIsNotAdded) {
    // As a double the largest integer is 2^63, and so is the whole of it.
    const Json edge = {{"input_tokens", largest}};
    const auto alone = parsed(CodexLog().meta().message("user", "x").tokens(edge));
    EXPECT_EQ(stat(alone, "user messages"), ToolStat{});
    const auto halves = parsed(CodexLog().meta().message("user", "x").output("a", "x").tokens(edge));
    EXPECT_EQ(stat(halves, "user messages")->attribInput, std::int64_t{1} << 62);
}

TEST(CodexAccounting, numbersAtTheEdgeOf64BitsEndNothing) {
    const auto edge = [](std::int64_t n) {
        return Json{{"input_tokens", n}, {"output_tokens", n}, {"total_tokens", n}};
    };
    auto state = parsed(CodexLog()
                            .meta()
                            .message("user", "text")
                            .item("reasoning")
                            .tokens(edge(largest), edge(largest))
                            .message("user", "text")
                            .item("reasoning")
                            .tokens(edge(smallest), edge(smallest))
                            .message("user", "text")
                            .item("reasoning")
                            .tokens(edge(largest), edge(largest))
                            .meta()
                            .tokens(edge(largest)));
    RolloutParser::finishEOF(state);
    ASSERT_EQ(state.requests.size(), 4U);
    EXPECT_EQ(request(state, 0).d.inputTokens, largest);
    EXPECT_EQ(request(state, 1).d.inputTokens, 0) << "a fall";
    EXPECT_EQ(request(state, 2).d.inputTokens, 0) << "a growth beyond 64 bits";
    EXPECT_EQ(state.totals.inputTokens, largest) << "the second addition isn't made";
}

}  // namespace
}  // namespace ledgerfern
