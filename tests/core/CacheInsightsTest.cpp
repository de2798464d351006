#include <gtest/gtest.h>

#include <limits>

#include "Analytics/CostEstimator.h"
#include "Analytics/InsightRules.h"
#include "SessionSamples.h"

namespace ledgerfern {
namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();

const char* const idleAdvice =
    "The prompt cache expires when a session sits idle (5 minutes by default, up to an hour on some plans), "
    "so resuming a big session re-sends all of it. For a new task, start a fresh session (/clear in Claude "
    "Code, /new in Codex) instead of resuming a long one.";
const char* const modelSwitchAdvice =
    "Each model has its own cache. Switching models mid-session rebuilds the whole prompt — pick the model "
    "at the start of a task.";
const char* const otherAdvice =
    "Something early in the prompt changed between requests (edited CLAUDE.md/AGENTS.md, MCP servers "
    "connecting, toggled tools). Keep those stable during a session.";

using Reasons = std::map<std::string, std::int64_t>;

SessionResult broken(std::int64_t breaks, std::int64_t rebuilt, Reasons reasons = {},
                     std::optional<std::string> model = {}) {
    SessionResult result = session({});
    result.path = "/logs/" + std::to_string(breaks) + ".jsonl";
    result.insights.cacheBreaks = breaks;
    result.insights.rebuiltTokens = rebuilt;
    result.insights.breakReasons = std::move(reasons);
    result.model = std::move(model);
    return result;
}

std::optional<Insight> cacheBreaks(const std::vector<SessionResult>& sessions) {
    return InsightRules::cacheBreaks(listOf(sessions), PriceTable(CostEstimator::defaults()));
}

SessionResult cached(std::string project, std::int64_t input, std::int64_t cachedInput) {
    SessionResult result = session({}, std::move(project));
    result.path = "/logs/" + result.project + std::to_string(input) + ".jsonl";
    result.totals.inputTokens = input;
    result.totals.cachedInputTokens = cachedInput;
    return result;
}

std::optional<Insight> lowCache(const std::vector<SessionResult>& sessions) {
    return InsightRules::lowCacheProjects(listOf(sessions));
}

// Cache breaks

TEST(CacheBreaks, areToldWithTheirReasonsAndTheirCost) {
    const auto found = cacheBreaks({broken(2, 700'000, {{"idle", 2}, {"compaction", 9}}, "gpt-5"),
                                    broken(0, 0, {{"compaction", 1}}, "gpt-5"),
                                    broken(3, 800'000, {{"model switch", 1}, {"prefix changed", 2}})});
    Insight expected;
    expected.id = "cache-breaks";
    expected.severity = Severity::warning;
    expected.title = "5 cache rebuilds re-sent 1.5M tokens";
    expected.detail =
        "Requests where most of the previous prompt wasn't served from cache: 2 idle, 2 prefix "
        "changed, 1 model switch (≈ 79¢ at API prices).";  // 0.7 of 1.25 - 0.125
    expected.advice = idleAdvice;
    expected.weight = 1'500'000;
    expected.metric = "1.5M";
    expected.metricLabel = "tokens re-sent";
    expected.sessions = {"/logs/2.jsonl", "/logs/3.jsonl"};
    EXPECT_EQ(found, expected);
}

TEST(CacheBreaks, needThreeBreaksAndAHundredThousandTokens) {
    EXPECT_EQ(cacheBreaks({}), std::nullopt);
    EXPECT_EQ(cacheBreaks({broken(2, 5'000'000)}), std::nullopt);
    EXPECT_EQ(cacheBreaks({broken(3, 99'999)}), std::nullopt);
    EXPECT_EQ(cacheBreaks({broken(3, 100'000)})->severity, Severity::notice);
    EXPECT_EQ(cacheBreaks({broken(3, 999'999)})->severity, Severity::notice);
    EXPECT_EQ(cacheBreaks({broken(3, 1'000'000)})->severity, Severity::warning);
    EXPECT_EQ(cacheBreaks({broken(1, 50'000), broken(2, 50'000)})->title,
              "3 cache rebuilds re-sent 100K tokens");
}

TEST(CacheBreaks, doNotCountCompactions) {
    EXPECT_EQ(cacheBreaks({broken(0, 0, {{"compaction", 50}})}), std::nullopt);
    const auto found = cacheBreaks({broken(3, 100'000, {{"compaction", 50}})});
    EXPECT_EQ(found->detail, "Requests where most of the previous prompt wasn't served from cache: .");
    EXPECT_EQ(found->advice, otherAdvice);
}

TEST(CacheBreaks, areToldWithoutTheCostOfUnknownModels) {
    const auto found = cacheBreaks({broken(3, 9'000'000, {{"idle", 3}}, "gemini-pro")});
    EXPECT_EQ(found->detail, "Requests where most of the previous prompt wasn't served from cache: 3 idle.");
}

TEST(CacheBreaks, areToldTheCostOfAllSessionsEachAtItsModel) {
    const PriceTable prices(PriceMap{{"large", {3, 1, 0}}, {"small", {0.5, 0.25, 0}}});
    const auto sessions = listOf({broken(1, 100'000, {}, "large"), broken(2, 2'000'000, {}, "small"),
                                  broken(3, 300'000, {}, "large"), broken(4, 4'000'000, {}, "small"),
                                  broken(5, 5'000'000, {}, "unknown")});
    // 0.2 + 0.5 + 0.6 + 1.0
    EXPECT_EQ(InsightRules::cacheBreaks(sessions, prices)->detail,
              "Requests where most of the previous prompt wasn't served from cache:  (≈ $2.30 at API "
              "prices).");
}

TEST(CacheBreaks, areToldTheCostFromACentOn) {
    // One dollar a million tokens, and nothing for cached ones.
    const PriceTable prices(PriceMap{{"m", {1, 0, 0}}});
    const auto detail = [&](std::int64_t rebuilt) {
        const auto sessions = listOf({broken(3, 100'000), broken(1, rebuilt, {}, "m")});
        return InsightRules::cacheBreaks(sessions, prices)->detail;
    };
    EXPECT_EQ(detail(9'900), "Requests where most of the previous prompt wasn't served from cache: .");
    EXPECT_EQ(detail(10'000),
              "Requests where most of the previous prompt wasn't served from cache:  (≈ 1¢ at API prices).");
}

TEST(CacheBreaks, areToldWithoutACostThatIsNoNumber) {
    const PriceTable prices(PriceMap{{"m", {1e308, 0, 0}}});
    const auto sessions = listOf({broken(3, 100'000, {}, "m"), broken(1, most - 100'000, {}, "m")});
    EXPECT_EQ(InsightRules::cacheBreaks(sessions, prices)->detail,
              "Requests where most of the previous prompt wasn't served from cache: .");
}

TEST(CacheBreaks, areAdvisedByTheMostFrequentReason) {
    EXPECT_EQ(cacheBreaks({broken(3, 100'000, {{"idle", 1}, {"model switch", 2}})})->advice,
              modelSwitchAdvice);
    EXPECT_EQ(cacheBreaks({broken(3, 100'000, {{"idle", 2}, {"model switch", 1}})})->advice, idleAdvice);
    EXPECT_EQ(cacheBreaks({broken(3, 100'000, {{"idle", 1}, {"prefix changed", 2}})})->advice, otherAdvice);
    EXPECT_EQ(cacheBreaks({broken(3, 100'000, {{"idle", 2}, {"model switch", 2}})})->advice, idleAdvice)
        << "of equals the first by name";
}

TEST(CacheBreaks, addTheReasonsOfAllSessions) {
    EXPECT_EQ(
        cacheBreaks({broken(2, 100'000, {{"idle", 2}, {"other", 1}}), broken(3, 1, {{"other", 2}})})->detail,
        "Requests where most of the previous prompt wasn't served from cache: 3 other, 2 idle.");
}

TEST(CacheBreaks, leaveOutWhatWouldLeave64Bits) {
    const auto found = cacheBreaks({broken(most, most, {{"idle", most}}), broken(1, 1, {{"idle", 1}})});
    EXPECT_EQ(found->weight, most);
    EXPECT_EQ(found->title, "9223372036854775807 cache rebuilds re-sent 9223372036854.8M tokens");
}

// Projects that miss the cache

TEST(LowCache, isToldOfTheProjectThatHitsItLeast) {
    const auto found = lowCache({cached("good", 9'000'000, 8'000'000), cached("bad", 1'000'000, 100'000),
                                 cached("fair", 3'000'000, 1'500'000), cached("bad", 1'500'000, 300'000)});
    Insight expected;
    expected.id = "low-cache-bad";
    expected.severity = Severity::notice;
    expected.title = "bad only hits the cache 16% of the time";
    expected.detail = "2.5M input tokens; well-behaved sessions usually sit above 85%.";
    expected.advice =
        "Look for many short sessions, frequent model switches, or files that change at the top of the "
        "prompt (memory files, hooks injecting context).";
    expected.weight = 2'500'000;
    expected.metric = "16%";
    expected.metricLabel = "cache hits";
    expected.sessions = {"/logs/bad1000000.jsonl", "/logs/bad1500000.jsonl"};
    EXPECT_EQ(found, expected);
}

TEST(LowCache, needsTwoMillionInputTokens) {
    EXPECT_EQ(lowCache({}), std::nullopt);
    EXPECT_EQ(lowCache({cached("p", 1'999'999, 0)}), std::nullopt);
    EXPECT_EQ(lowCache({cached("p", 2'000'000, 0)})->metric, "0%");
    EXPECT_EQ(lowCache({cached("p", 1'000'000, 0), cached("q", 1'000'000, 0)}), std::nullopt);
}

TEST(LowCache, isARateBelowSevenTenths) {
    EXPECT_EQ(lowCache({cached("p", 2'000'000, 1'400'000)}), std::nullopt);
    EXPECT_EQ(lowCache({cached("p", 2'000'000, 1'399'999)})->metric, "69%");
}

TEST(LowCache, ofEqualRatesIsToldOfTheFirstProject) {
    EXPECT_EQ(lowCache({cached("b", 2'000'000, 0), cached("a", 4'000'000, 0)})->id, "low-cache-a");
}

TEST(LowCache, cutsThePercentage) {
    EXPECT_EQ(lowCache({cached("p", 100'000'000, 29'999'999)})->metric, "29%");
    EXPECT_EQ(lowCache({cached("p", 2'000'000, 1'160'000)})->metric, "57%")
        << "0.58 times 100 is just below 58";
    EXPECT_EQ(lowCache({cached("p", 2'000'000, most)}), std::nullopt);
    EXPECT_EQ(lowCache({cached("p", 2'000'000, -most)})->metric, "-461168601842738%");
}

}  // namespace
}  // namespace ledgerfern
