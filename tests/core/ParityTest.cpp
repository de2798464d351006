#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "Analytics/Aggregates.h"
#include "SessionSamples.h"

namespace ledgerfern {
namespace {

using Json = nlohmann::json;

const Json zeros = {{"input_tokens", 0},  {"cached_input_tokens", 0},     {"cache_write_input_tokens", 0},
                    {"output_tokens", 0}, {"reasoning_output_tokens", 0}, {"total_tokens", 0}};

Json totalTokens(std::int64_t total) {
    Json tokens = zeros;
    tokens["total_tokens"] = total;
    return tokens;
}

TEST(Parity, ofNothingHasEveryKey) {
    EXPECT_EQ(Aggregates().parityJSON(), R"({
  "files_scanned": 0,
  "rate_limit_latest": null,
  "schema": 1,
  "sessions_analyzed": 0,
  "tools": {},
  "totals": {
    "cache_write_input_tokens": 0,
    "cached_input_tokens": 0,
    "input_tokens": 0,
    "output_tokens": 0,
    "reasoning_output_tokens": 0,
    "total_tokens": 0
  },
  "weeks": {}
})");
}

TEST(Parity, showsTheCoreNumbers) {
    SessionResult one = session({requestAt(1772360430, UsageTotals{1, 2, 3, 4, 5, 6})}, "fern");
    one.lastTs = 1772360430.5;
    one.rateLimit = RateLimitInfo{42.5, 10080, 1772409600, "pro"};
    one.tools = ToolTable({{"tool:b", {1, 2, 3}}, {"tool:a", {4, 5, 6}}});
    const SessionResult two = session({requestAt(1772360430, 10)}, "Ash \"x\"");
    const std::string text = Aggregates(listOf({one, two}), 9, 1772409600.0).parityJSON();
    const Json tokens = {
        {"input_tokens", 1},  {"cached_input_tokens", 2},     {"cache_write_input_tokens", 3},
        {"output_tokens", 4}, {"reasoning_output_tokens", 5}, {"total_tokens", 6}};
    Json sum = tokens;
    sum["total_tokens"] = 16;
    const Json expected = {
        {"files_scanned", 9},
        {"rate_limit_latest",
         {{"as_of_epoch", 1772360430.5},
          {"plan_type", "pro"},
          {"primary", {{"resets_at", 1772409600}, {"used_percent", 42.5}, {"window_minutes", 10080}}}}},
        {"schema", 1},
        {"sessions_analyzed", 2},
        {"tools",
         {{"tool:a", {{"attrib_input", 5}, {"attrib_output", 6}, {"calls", 4}}},
          {"tool:b", {{"attrib_input", 2}, {"attrib_output", 3}, {"calls", 1}}}}},
        {"totals", sum},
        {"weeks", {{"2026-W09", {{"Ash \"x\"", totalTokens(10)}, {"__total__", sum}, {"fern", tokens}}}}}};
    EXPECT_EQ(Json::parse(text), expected);
    EXPECT_EQ(text, expected.dump(2));
}

TEST(Parity, aWeekWithoutProjectsHasItsTotalAlone) {
    Aggregates sums;
    sums.weeks["2026-W09"];
    EXPECT_EQ(Json::parse(sums.parityJSON())["weeks"], Json({{"2026-W09", {{"__total__", zeros}}}}));
}

TEST(Parity, aProjectWithTheNameOfTheTotalGivesWayToIt) {
    Aggregates sums;
    sums.weeks["2026-W09"].projects = {{"__total__", UsageTotals{0, 0, 0, 0, 0, 1}},
                                       {"a", UsageTotals{0, 0, 0, 0, 0, 2}}};
    const Json expected = {{"__total__", totalTokens(3)}, {"a", totalTokens(2)}};
    EXPECT_EQ(Json::parse(sums.parityJSON())["weeks"]["2026-W09"], expected);
}

TEST(Parity, aReadingWithItsPlanAloneHasThreeNulls) {
    Aggregates sums;
    sums.latestRateLimit = RateLimitInfo{{}, {}, {}, "plus"};
    const Json nulls = {{"resets_at", nullptr}, {"used_percent", nullptr}, {"window_minutes", nullptr}};
    EXPECT_EQ(Json::parse(sums.parityJSON())["rate_limit_latest"],
              Json({{"plan_type", "plus"}, {"primary", nulls}}));
    sums.latestRateLimit = RateLimitInfo{};
    sums.latestRateLimitAsOf = 5;
    EXPECT_EQ(Json::parse(sums.parityJSON())["rate_limit_latest"],
              Json({{"as_of_epoch", 5}, {"plan_type", nullptr}, {"primary", nulls}}));
}

TEST(Parity, theReadingIsAbsentWithoutOne) {
    Aggregates sums;
    sums.latestRateLimitAsOf = 5;
    EXPECT_EQ(sums.rateLimitDict(), std::nullopt);
    sums.latestRateLimit = RateLimitInfo{1.5, 2, 3, "x"};
    EXPECT_EQ(sums.rateLimitDict(), (Aggregates::RateLimitDict{5, {1.5, 2, 3, "x"}}));
}

TEST(Parity, aNumberThatIsNotFiniteIsMissing) {
    Aggregates sums;
    sums.latestRateLimit = RateLimitInfo{std::numeric_limits<double>::infinity(), {}, {}, {}};
    sums.latestRateLimitAsOf = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(sums.rateLimitDict(), Aggregates::RateLimitDict());
    EXPECT_FALSE(Json::parse(sums.parityJSON()).is_discarded());
}

TEST(Parity, equalValuesGiveEqualBytes) {
    const SessionList forward =
        listOf({session({requestAt(1e9, 1)}, "a"), session({requestAt(2e9, 2)}, "b")});
    const SessionList backward(forward.rbegin(), forward.rend());
    EXPECT_EQ(Aggregates(forward, 1, {}).parityJSON(), Aggregates(backward, 1, {}).parityJSON());
}

}  // namespace
}  // namespace ledgerfern
