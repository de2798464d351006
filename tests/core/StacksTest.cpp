#include "Analytics/Stacks.h"

#include <gtest/gtest.h>

#include <limits>

#include "SessionSamples.h"
#include "UsageRecords/TSDate.h"
#include "ZoneTesting.h"

namespace ledgerfern {
namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();
constexpr Instant sunday = 1772360430;  // 2026-03-01 10:20:30 UTC
constexpr Instant day = 86400;

using Stacks = std::vector<DayStack>;
using Legend = std::vector<LegendEntry>;

Stacks stacksOf(const SessionResult& session, StackUnit unit, std::optional<TimeRange> range = {}) {
    StackBuilder builder(unit, range);
    builder.add(session, "label");
    return builder.stacks();
}

TEST(Stacks, areByIsoWeek) {
    EXPECT_EQ(stacksOf(session({requestAt(sunday + day, 10), requestAt(sunday, 1), requestAt(sunday - day, 2),
                                requestAt(sunday + 2 * day, 20)}),
                       StackUnit::isoWeek),
              (Stacks{{"2026-W09", {{"label", 3}}, 3}, {"2026-W10", {{"label", 30}}, 30}}));
}

TEST(StacksDeathTest, areByLocalDay) {
    expectInZone("America/New_York", [] {
        const Instant midnight = TSDate::localDayKeyDate("2026-03-08").value();  // 23 hours long
        const auto requests = session({requestAt(midnight - 0.5, 1), requestAt(midnight, 2),
                                       requestAt(midnight + 23 * 3600 - 1, 4),
                                       requestAt(midnight + 23 * 3600, 8), requestAt(midnight + 3600, 16)});
        EXPECT_EQ(stacksOf(requests, StackUnit::localDay), (Stacks{{"2026-03-07", {{"label", 1}}, 1},
                                                                   {"2026-03-08", {{"label", 22}}, 22},
                                                                   {"2026-03-09", {{"label", 8}}, 8}}));
    });
}

TEST(StacksDeathTest, followAClockThatIsTurnedBackPastMidnight) {
    expectInZone("America/St_Johns", [] {
        std::vector<RequestRecord> records;
        std::map<std::string, std::int64_t> expected;
        const Instant first = TSDate::parse("2010-11-06T20:00:00Z").value();
        for (int i = 0; i < 5000; ++i) {
            records.push_back(requestAt(first + i * 7.25, i));
            expected[TSDate::localDayKey(records.back().time)] += i;
        }
        std::map<std::string, std::int64_t> totals;
        for (const DayStack& stack : stacksOf(session(records), StackUnit::localDay))
            totals[stack.key] = stack.total;
        EXPECT_EQ(totals, expected);
        EXPECT_EQ(totals.size(), 2u);
    });
}

TEST(Stacks, keepToARange) {
    const TimeRange range{sunday, sunday + 10};
    EXPECT_EQ(stacksOf(session({requestAt(sunday - 0.001, 1), requestAt(sunday, 2), requestAt(sunday + 9, 4),
                                requestAt(sunday + 10, 8), requestAt(sunday + 5, 16), requestAt({}, 32)}),
                       StackUnit::isoWeek, range),
              (Stacks{{"2026-W09", {{"label", 22}}, 22}}));
    EXPECT_EQ(stacksOf(session({requestAt(sunday, 2)}), StackUnit::isoWeek, TimeRange{}), Stacks{});
}

TEST(Stacks, leaveOutWhatHasNoTime) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(stacksOf(session({requestAt({}, 1), requestAt(infinity, 2), requestAt(-infinity, 4),
                                requestAt(1e300, 8), requestAt(253402300800, 16)}),
                       StackUnit::localDay),
              Stacks{});
    EXPECT_EQ(stacksOf(session({}), StackUnit::localDay), Stacks{});
}

TEST(Stacks, showARequestOfNoTokens) {
    EXPECT_EQ(stacksOf(session({requestAt(sunday, 0)}), StackUnit::isoWeek),
              (Stacks{{"2026-W09", {{"label", 0}}, 0}}));
}

TEST(Stacks, addTheSessionsOfALabel) {
    StackBuilder builder(StackUnit::isoWeek, {});
    const auto first = session({requestAt(sunday, 1), requestAt(sunday + day, 2)});
    const auto second = session({requestAt(sunday, 4)});
    const auto third = session({requestAt(sunday + day, 8)});
    builder.add(first, "a");
    builder.add(second, "b");
    builder.add(third, "a");
    EXPECT_EQ(builder.stacks(),
              (Stacks{{"2026-W09", {{"a", 1}, {"b", 4}}, 5}, {"2026-W10", {{"a", 10}}, 10}}));
    EXPECT_EQ(builder.modelStacks(), (Stacks{{"2026-W09", {}, 5}, {"2026-W10", {}, 10}}));
}

TEST(Stacks, countEachRequestUnderItsModel) {
    auto first = withModels(session({requestAt(sunday, 1), requestAt(sunday + 1, 2), requestAt(sunday + 2, 4),
                                     requestAt(sunday + day, 8), requestAt(sunday + 3, 16)}),
                            {"m2", {}, "m1", "m1", "m2"});
    const auto second = withModels(session({requestAt(sunday, 32), requestAt(sunday, 64)}), {"m1", {}});
    first.model = "own";
    StackBuilder builder(StackUnit::isoWeek, {});
    builder.addWithModels(first, "x");
    builder.addWithModels(second, "y");
    EXPECT_EQ(builder.stacks(),
              (Stacks{{"2026-W09", {{"x", 23}, {"y", 96}}, 119}, {"2026-W10", {{"x", 8}}, 8}}));
    EXPECT_EQ(builder.modelStacks(),
              (Stacks{{"2026-W09", {{"m1", 36}, {"m2", 17}, {"own", 2}, {"unknown", 64}}, 119},
                      {"2026-W10", {{"m1", 8}}, 8}}));
}

TEST(Stacks, leaveOutWhatWouldLeave64Bits) {
    StackBuilder builder(StackUnit::isoWeek, {});
    const auto huge = withModels(
        session({requestAt(sunday, most), requestAt(sunday, 1), requestAt(sunday, -3)}), {"a", "b", "a"});
    builder.addWithModels(huge, "x");
    EXPECT_EQ(builder.stacks(), (Stacks{{"2026-W09", {{"x", most - 3}}, most - 3}}));
    EXPECT_EQ(builder.modelStacks(), (Stacks{{"2026-W09", {{"a", most - 3}, {"b", 1}}, most - 3}}));
}

TEST(Stacks, knowTheModelOfASession) {
    SessionResult result = session({});
    EXPECT_EQ(modelLabel(result), "unknown");
    result.model = "m";
    EXPECT_EQ(modelLabel(result), "m");
}

TEST(Legend, addsTheLabelsOfAllBars) {
    EXPECT_EQ(legendOf({{"k1", {{"a", 1}, {"b", 5}}, 6}, {"k2", {{"a", 2}, {"c", 0}}, 2}}),
              (Legend{{"b", 5, 0.625}, {"a", 3, 0.375}, {"c", 0, 0}}));
    EXPECT_EQ(legendOf({}), Legend{});
}

TEST(Legend, putsEqualLabelsInTheirOrder) {
    EXPECT_EQ(legendOf({{"k", {{"b", 1}, {"c", 2}, {"a", 1}, {"B", 1}}, 5}}),
              (Legend{{"c", 2, 0.4}, {"B", 1, 0.2}, {"a", 1, 0.2}, {"b", 1, 0.2}}));
}

TEST(Legend, hasNoFractionsOfNothing) {
    EXPECT_EQ(legendOf({{"k", {{"a", 0}, {"b", 0}}, 0}}), (Legend{{"a", 0, 0}, {"b", 0, 0}}));
    EXPECT_EQ(legendOf({{"k", {{"a", 5}, {"b", -5}}, 0}}), (Legend{{"a", 5, 0}, {"b", -5, 0}}));
}

TEST(Legend, leavesOutWhatWouldLeave64Bits) {
    EXPECT_EQ(legendOf({{"k1", {{"a", most}}, most}, {"k2", {{"a", 1}, {"b", 1}}, 2}}),
              (Legend{{"a", most, 1}, {"b", 1, 1.0 / static_cast<double>(most)}}));
}

}  // namespace
}  // namespace ledgerfern
