#include "UsageRecords/CivilDate.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledgerfern {
namespace {

std::int64_t number(std::int64_t year, std::int64_t month, std::int64_t day) {
    return static_cast<std::int64_t>(dayNumber(year, month, day));
}

TEST(CivilDate, daysAreNumberedFromTheEpoch) {
    EXPECT_EQ(number(1970, 1, 1), 0);
    EXPECT_EQ(number(1969, 12, 31), -1);
    EXPECT_EQ(number(2026, 3, 1), 20513);
    EXPECT_EQ(number(1, 1, 1), -719162);
    EXPECT_EQ(number(0, 12, 31), -719163) << "there is a year 0";
}

TEST(CivilDate, centuriesAreLeapYearsOnlyEvery400Years) {
    EXPECT_EQ(number(2000, 3, 1) - number(2000, 2, 1), 29);
    EXPECT_EQ(number(1900, 3, 1) - number(1900, 2, 1), 28);
    EXPECT_EQ(number(-400, 3, 1) - number(-400, 2, 1), 29);
}

TEST(CivilDate, monthsAndDaysCarryOver) {
    EXPECT_EQ(number(2026, 4, 31), number(2026, 5, 1));
    EXPECT_EQ(number(2026, 13, 1), number(2027, 1, 1));
    EXPECT_EQ(number(2026, 0, 0), number(2025, 11, 30));
    EXPECT_EQ(number(2026, -11, 1), number(2025, 1, 1));
}

TEST(CivilDate, weeksGoOnBeforeTheEpoch) {
    EXPECT_EQ(weekday(0), 3);
    EXPECT_EQ(weekday(-3), 0);
    EXPECT_EQ(weekday(-4), 6);
    EXPECT_EQ(weekday(number(2026, 3, 1)), 6);
}

TEST(CivilDate, theLargestNumbersFit) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    EXPECT_GT(dayNumber(most, most, most), WideInteger{most} * 300);
    EXPECT_LT(dayNumber(least, least, least), WideInteger{least} * 300);
}

TEST(CivilDate, divisionIsCutTowardMinusInfinity) {
    EXPECT_EQ(floorDivided(7, 2), 3);
    EXPECT_EQ(floorDivided(-7, 2), -4);
    EXPECT_EQ(floorDivided(-8, 2), -4);
    EXPECT_EQ(floorDivided(0, 2), 0);
}

}  // namespace
}  // namespace ledgerfern
