#include "Analytics/Aggregates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "SessionSamples.h"

namespace ledgerfern {
namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();
constexpr Instant sunday = 1772360430;  // 2026-03-01 10:20:30 UTC

using Hours = std::array<std::int64_t, 24>;

Aggregates rollUp(const std::vector<SessionResult>& sessions, std::optional<double> anchor = {}) {
    return {listOf(sessions), 0, anchor};
}

std::int64_t totalOf(const std::map<std::string, Aggregates::WeekBucket>& buckets, const std::string& key,
                     const std::string& project = "p") {
    return buckets.at(key).projects.at(project).totalTokens;
}

TEST(Aggregates, ofNothingAreEmpty) {
    const Aggregates none({}, 7, std::nullopt);
    EXPECT_EQ(none.filesScanned, 7);
    EXPECT_EQ(none.sessionsAnalyzed, 0);
    EXPECT_EQ(none.hourlyLocal, Hours{});
    EXPECT_EQ(none.currentCycleKey(), std::nullopt);
    EXPECT_EQ(none.currentCycleKey(ToolKind::codex), std::nullopt);
    EXPECT_EQ(none.currentScopeKey(), std::nullopt);
    EXPECT_FALSE(none.toolsUseDifferentAnchors());
    Aggregates fresh;
    fresh.filesScanned = 7;
    EXPECT_EQ(none, fresh);
}

TEST(Aggregates, addTheTotalsAndToolsOfTheSessions) {
    SessionResult first = session({});
    first.totals = {1, 2, 3, 4, 5, 6};
    first.tools = ToolTable({{"tool:a", {1, 2, 3}}, {"tool:b", {4, 5, 6}}});
    SessionResult second = session({});
    second.totals = {10, 20, 30, 40, 50, 60};
    second.tools = ToolTable({{"tool:b", {10, 10, 10}}});
    const Aggregates sums = rollUp({first, second});
    EXPECT_EQ(sums.sessionsAnalyzed, 2);
    EXPECT_EQ(sums.totals, (UsageTotals{11, 22, 33, 44, 55, 66}));
    const std::map<std::string, ToolStat> tools = {{"tool:a", {1, 2, 3}}, {"tool:b", {14, 15, 16}}};
    EXPECT_EQ(sums.tools, tools);
}

TEST(Aggregates, countARequestAtItsOwnTime) {
    // A session across midnight and across the end of the week.
    const Aggregates sums = rollUp({session({requestAt(sunday, UsageTotals{1, 2, 3, 4, 5, 6}),
                                             requestAt(sunday + 86400, UsageTotals{10, 20, 30, 40, 50, 60}),
                                             requestAt(sunday + 60, UsageTotals{100, 0, 0, 0, 0, 100})})});
    EXPECT_EQ(sums.weeks.at("2026-W09").projects.at("p"), (UsageTotals{101, 2, 3, 4, 5, 106}));
    EXPECT_EQ(sums.weeks.at("2026-W10").projects.at("p"), (UsageTotals{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(sums.weeks.size(), 2u);
    const std::map<std::string, std::int64_t> daily = {{"2026-03-01", 106}, {"2026-03-02", 60}};
    EXPECT_EQ(sums.daily, daily);
}

TEST(Aggregates, splitABucketByProject) {
    const Aggregates sums =
        rollUp({session({requestAt(sunday, 1)}, "a"), session({requestAt(sunday, 2)}, "b"),
                session({requestAt(sunday, 4)}, "a")});
    EXPECT_EQ(totalOf(sums.weeks, "2026-W09", "a"), 5);
    EXPECT_EQ(totalOf(sums.weeks, "2026-W09", "b"), 2);
    EXPECT_EQ(sums.weeks.at("2026-W09").total().totalTokens, 7);
    EXPECT_EQ(Aggregates::WeekBucket().total(), UsageTotals());
}

TEST(Aggregates, leaveARequestWithoutATimeOutOfEveryBucket) {
    const Aggregates sums = rollUp({session({requestAt({}, 5)})}, 1000.0);
    EXPECT_EQ(sums.totals.totalTokens, 5);
    EXPECT_TRUE(sums.weeks.empty());
    EXPECT_TRUE(sums.cycles.empty());
    EXPECT_TRUE(sums.daily.empty());
    EXPECT_EQ(sums.hourlyLocal, Hours{});
}

TEST(Aggregates, makeBucketsForARequestWithoutCounts) {
    const Aggregates sums = rollUp({session({requestAt(sunday, UsageTotals{})})}, sunday);
    EXPECT_EQ(sums.weeks.at("2026-W09").projects.at("p"), UsageTotals());
    EXPECT_EQ(sums.cycles.size(), 1u);
    EXPECT_EQ(sums.daily.at("2026-03-01"), 0);
}

TEST(Aggregates, countTheLoggedTotalNotTheSumOfTheOthers) {
    const Aggregates sums = rollUp({session({requestAt(sunday, UsageTotals{100, 0, 0, 100, 0, 7})})});
    EXPECT_EQ(sums.daily.at("2026-03-01"), 7);
    EXPECT_EQ(totalOf(sums.weeks, "2026-W09"), 7);
}

TEST(Aggregates, leaveOutWhatWouldLeave64Bits) {
    const Aggregates sums = rollUp({session({requestAt(sunday, UsageTotals{most, 0, 0, 0, 0, most}),
                                             requestAt(sunday, UsageTotals{1, 5, 0, 0, 0, 1}),
                                             requestAt(sunday, UsageTotals{-3, 0, 0, 0, 0, -3})})});
    EXPECT_EQ(sums.weeks.at("2026-W09").projects.at("p"), (UsageTotals{most - 3, 5, 0, 0, 0, most - 3}));
    EXPECT_EQ(sums.daily.at("2026-03-01"), most - 3);
    EXPECT_EQ(std::accumulate(sums.hourlyLocal.begin(), sums.hourlyLocal.end(), std::int64_t{0}), most - 3);
}

TEST(Aggregates, skipARequestOutsideTheCalendar) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Aggregates sums =
        rollUp({session({requestAt(infinity, 1), requestAt(-infinity, 1), requestAt(1e300, 1),
                         requestAt(9e18, 1), requestAt(253402300800, 1), requestAt(-62135596801, 1)})},
               1000.0);
    EXPECT_TRUE(sums.weeks.empty());
    EXPECT_TRUE(sums.cycles.empty());
    EXPECT_TRUE(sums.daily.empty());
}

// The hour cache --------------------------------------------------------

TEST(Aggregates, keepTheKeysOfTheFirstRequestThroughTheHourThatIsCutToZero) {
    const Aggregates together =
        rollUp({session({requestAt(-1800, 1), requestAt(1800, 2), requestAt(-3599, 4)})});
    const std::map<std::string, std::int64_t> byFirst = {{"1969-12-31", 7}};
    EXPECT_EQ(together.daily, byFirst);
    const Aggregates apart = rollUp({session({requestAt(-1800, 1)}), session({requestAt(1800, 2)})});
    const std::map<std::string, std::int64_t> each = {{"1969-12-31", 1}, {"1970-01-01", 2}};
    EXPECT_EQ(apart.daily, each);
}

/// Runs in a child process, whose local zone isn't set yet.
void exitWithTheHours(const char* zone, const std::vector<SessionResult>& sessions, const Hours& expected) {
    setenv("TZ", zone, 1);
    const bool right = rollUp(sessions).hourlyLocal == expected;
    std::_Exit(right ? 0 : 1);
}

TEST(AggregatesDeathTest, countByTheLocalHour) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Hours expected{};
    expected[1] = 10;
    expected[0] = 5;
    const auto requests = session({requestAt(1772407800, 10), requestAt(-7200, 5)});
    EXPECT_EXIT(exitWithTheHours("<+02>-2", {requests}, expected), testing::ExitedWithCode(0), "");
}

TEST(AggregatesDeathTest, countByTheLocalHourBeforeTheEpoch) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Hours expected{};
    expected[23] = 3;
    expected[22] = 4;
    expected[0] = 24;  // a remainder so close to 24 that adding 24 rounds up counts for the next hour
    const auto requests = session({requestAt(-1, 1), requestAt(-3600, 2), requestAt(-3601, 4),
                                   requestAt(-86400, 8), requestAt(std::nextafter(86400.0, 0.0), 16)});
    EXPECT_EXIT(exitWithTheHours("UTC0", {requests}, expected), testing::ExitedWithCode(0), "");
}

TEST(AggregatesDeathTest, takeTheZoneAsItStoodAtTheHoursFirstRequest) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Clocks go from 02:00 to 02:30 at 15:30 UTC.
    const char* const zone = "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0";
    const RequestRecord before = requestAt(1791040200, 1);  // 2026-10-03 15:10 UTC, 01:40 local
    const RequestRecord after = requestAt(1791042600, 2);   // 15:50 UTC, 02:50 local
    Hours apart{};
    apart[1] = 1;
    apart[2] = 2;
    EXPECT_EXIT(exitWithTheHours(zone, {session({before}), session({after})}, apart),
                testing::ExitedWithCode(0), "");
    Hours afterFirst{};
    afterFirst[2] = 3;
    EXPECT_EXIT(exitWithTheHours(zone, {session({after, before})}, afterFirst), testing::ExitedWithCode(0),
                "");
}

// Cycles ----------------------------------------------------------------

TEST(Aggregates, haveNoCyclesWithoutAnAnchor) {
    const Aggregates sums = rollUp({session({requestAt(sunday, 1), requestAt(sunday + 86400, 1)})});
    EXPECT_TRUE(sums.cycles.empty());
    EXPECT_EQ(sums.currentCycleKey(), std::nullopt);
    EXPECT_EQ(sums.currentScopeKey(), "2026-W10");
}

TEST(Aggregates, countWholeCyclesFromTheAnchor) {
    const Aggregates sums = rollUp({session({requestAt(0, 1)})}, 1'000'000.0);
    EXPECT_EQ(totalOf(sums.cycles, "-209600"), 1);
    EXPECT_EQ(sums.currentCycleKey(), "395200");
    EXPECT_EQ(sums.currentScopeKey(), "395200");
}

TEST(Aggregates, beginACycleAtItsStartAndEndItBeforeTheNext) {
    const double anchor = 10 * Aggregates::cycleLength;
    const Aggregates sums =
        rollUp({session({requestAt(anchor - 604800, 1), requestAt(anchor - 0.5, 2), requestAt(anchor, 4),
                         requestAt(anchor + 604799, 8), requestAt(anchor + 604800, 16),
                         requestAt(anchor - 604800.5, 32)})},
               anchor);
    EXPECT_EQ(totalOf(sums.cycles, "4838400"), 32);
    EXPECT_EQ(totalOf(sums.cycles, "5443200"), 3);
    EXPECT_EQ(totalOf(sums.cycles, "6048000"), 12);
    EXPECT_EQ(totalOf(sums.cycles, "6652800"), 16);
    EXPECT_EQ(sums.currentCycleKey(), "5443200");
}

TEST(Aggregates, cutTheStartOfACycleTowardZero) {
    const Aggregates sums = rollUp({session({requestAt(-100, 1), requestAt(604900, 2)})}, 0.75);
    EXPECT_EQ(totalOf(sums.cycles, "-604799"), 1);
    EXPECT_EQ(totalOf(sums.cycles, "604800"), 2);
    EXPECT_EQ(sums.currentCycleKey(), "-604799");
}

TEST(Aggregates, leaveOutCyclesAloneWhereTheirKeyDoesNotFit64Bits) {
    for (const double anchor :
         {1e300, -1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        const Aggregates sums = rollUp({session({requestAt(sunday, 1)})}, anchor);
        EXPECT_EQ(totalOf(sums.weeks, "2026-W09"), 1);
        EXPECT_EQ(sums.daily.at("2026-03-01"), 1);
        EXPECT_EQ(sums.currentCycleKey(), std::nullopt);
        for (const auto& [key, bucket] : sums.cycles)
            EXPECT_TRUE(Aggregates::cycleRange(key)) << key;
    }
    EXPECT_TRUE(
        rollUp({session({requestAt(sunday, 1)})}, std::numeric_limits<double>::quiet_NaN()).cycles.empty());
}

TEST(Aggregates, takeTheLatestResetOfAnySessionAsAnchor) {
    EXPECT_EQ(Aggregates::cycleAnchorFrom({}), std::nullopt);
    EXPECT_EQ(Aggregates::cycleAnchorFrom(listOf({session({}), reading(ToolKind::codex, 5, {})})),
              std::nullopt);
    EXPECT_EQ(Aggregates::cycleAnchorFrom(
                  listOf({reading(ToolKind::codex, 5, 100), reading(ToolKind::claudeCode, {}, 300),
                          reading(ToolKind::codex, 9, 200)})),
              300.0);
    EXPECT_EQ(Aggregates::cycleAnchorFrom(listOf({reading(ToolKind::codex, 5, -100)})), -100.0);
}

TEST(Aggregates, readACyclesRangeFromItsKey) {
    using Range = Aggregates::CycleRange;
    EXPECT_EQ(Aggregates::cycleRange("1000.5"), (Range{1000.5, 605800.5}));
    EXPECT_EQ(Aggregates::cycleRange("-209600"), (Range{-209600, 395200}));
    EXPECT_EQ(Aggregates::cycleRange("today"), std::nullopt);
    EXPECT_EQ(Aggregates::cycleRange("1000 "), std::nullopt);
    EXPECT_EQ(Aggregates::cycleRange(""), std::nullopt);
    EXPECT_EQ(Aggregates::cycleRange("2026-W09"), std::nullopt);
}

// Rate limits -----------------------------------------------------------

TEST(Aggregates, takeTheReadingOfTheLatestSession) {
    const Aggregates sums =
        rollUp({reading(ToolKind::codex, 10, 1, 11), reading(ToolKind::claudeCode, 30, 2, 22),
                reading(ToolKind::codex, 20, 3, 33)});
    EXPECT_EQ(sums.latestRateLimitAsOf, 30);
    EXPECT_EQ(sums.latestRateLimit->usedPercent, 22);
    EXPECT_EQ(sums.latestRateLimitsAsOf.at(ToolKind::codex), 20);
    EXPECT_EQ(sums.latestRateLimitsByTool.at(ToolKind::codex).usedPercent, 33);
    EXPECT_EQ(sums.cycleAnchorsByTool.at(ToolKind::codex), 3.0);
    EXPECT_EQ(sums.latestRateLimitsByTool.at(ToolKind::claudeCode).usedPercent, 22);
}

TEST(Aggregates, keepTheFirstOfTwoReadingsOfTheSameInstant) {
    const Aggregates sums = rollUp({reading(ToolKind::codex, 10, 1, 11), reading(ToolKind::codex, 10, 2, 22),
                                    reading(ToolKind::claudeCode, 10, 3, 33)});
    EXPECT_EQ(sums.latestRateLimit->usedPercent, 11);
    EXPECT_EQ(sums.latestRateLimitsByTool.at(ToolKind::codex).usedPercent, 11);
    EXPECT_EQ(sums.cycleAnchorsByTool.at(ToolKind::codex), 1.0);
    EXPECT_EQ(sums.latestRateLimitsByTool.at(ToolKind::claudeCode).usedPercent, 33);
}

TEST(Aggregates, leaveTheToolsAnchorWhereALaterReadingHasNone) {
    const Aggregates sums =
        rollUp({reading(ToolKind::codex, 10, 1000, 11), reading(ToolKind::codex, 20, {}, 22)});
    EXPECT_EQ(sums.latestRateLimitsByTool.at(ToolKind::codex).usedPercent, 22);
    EXPECT_EQ(sums.cycleAnchorsByTool.at(ToolKind::codex), 1000.0);
    EXPECT_EQ(sums.currentCycleKey(ToolKind::codex), "-603800");
    EXPECT_EQ(sums.currentCycleKey(ToolKind::claudeCode), std::nullopt);
}

TEST(Aggregates, takeNoReadingOfASessionWithoutATimeButItsReset) {
    const std::vector<SessionResult> sessions = {reading(ToolKind::codex, {}, 500, 11)};
    const Aggregates sums = rollUp(sessions);
    EXPECT_EQ(sums.latestRateLimit, std::nullopt);
    EXPECT_TRUE(sums.latestRateLimitsByTool.empty());
    EXPECT_TRUE(sums.cycleAnchorsByTool.empty());
    EXPECT_EQ(Aggregates::cycleAnchorFrom(listOf(sessions)), 500.0);
}

TEST(Aggregates, seeDifferentAnchorsOnlyFromAWholeSecondOn) {
    Aggregates sums;
    sums.cycleAnchorsByTool = {{ToolKind::codex, 1000.2}};
    EXPECT_FALSE(sums.toolsUseDifferentAnchors());
    sums.cycleAnchorsByTool[ToolKind::claudeCode] = 1000.9;
    EXPECT_FALSE(sums.toolsUseDifferentAnchors());
    sums.cycleAnchorsByTool[ToolKind::claudeCode] = 1001.1;
    EXPECT_TRUE(sums.toolsUseDifferentAnchors());
}

TEST(Aggregates, takeAnAnchorThatDoesNotFit64BitsAsMissing) {
    const Aggregates sums = rollUp({reading(ToolKind::codex, 1, most)});
    EXPECT_EQ(sums.cycleAnchorsByTool.at(ToolKind::codex), 9223372036854775808.0);
    EXPECT_NE(sums.currentCycleKey(ToolKind::codex), std::nullopt);
    Aggregates odd;
    odd.cycleAnchorsByTool = {{ToolKind::codex, 9223372036854775808.0}, {ToolKind::claudeCode, 5}};
    EXPECT_FALSE(odd.toolsUseDifferentAnchors());
    odd.cycleAnchor = 1e19;
    odd.cycles["0"];
    EXPECT_EQ(odd.currentScopeKey(), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
