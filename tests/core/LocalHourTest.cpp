#include "Analytics/LocalHour.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <vector>

namespace ledgerfern {
namespace {

std::size_t byRemainder(double ts, double zoneOffset) {
    const double h = std::fmod((ts + zoneOffset) / 3600, 24) + 24;
    return static_cast<std::size_t>(static_cast<std::int64_t>(h) % 24);
}

const std::vector<double> zoneOffsets = {-43200, -12600, -3600, -1, 0, 1, 3600, 7200, 20700, 37800, 50400};

TEST(LocalHour, isOneAtHalfPastElevenInAZoneTwoHoursAhead) {
    EXPECT_EQ(localHour(1772407800, 7200), 1u);  // 2026-03-01 23:30 UTC
}

TEST(LocalHour, isValidBeforeTheEpoch) {
    EXPECT_EQ(localHour(-1, 0), 23u);
    EXPECT_EQ(localHour(-3600, 0), 23u);
    EXPECT_EQ(localHour(-3601, 0), 22u);
    EXPECT_EQ(localHour(-86400, 0), 0u);
    EXPECT_EQ(localHour(-1e-20, 0), 0u);  // the remainder plus 24 rounds up to 24
}

TEST(LocalHour, roundsUpAtTheEndOfTheFirstDayAsTheRemainderDoes) {
    const double justBelow = std::nextafter(86400.0, 0.0);
    EXPECT_EQ(byRemainder(justBelow, 0), 0u);
    EXPECT_EQ(localHour(justBelow, 0), 0u);
}

TEST(LocalHour, equalsTheRemainderRoundEveryHourEdge) {
    const std::vector<double> days = {-719162, -1000, -3, -2,    -1,    0,     1,     2,
                                      3,       4,     20, 12345, 20513, 20514, 99999, 2932895};
    std::size_t seen = 0;
    for (const double day : days)
        for (int hour = 0; hour < 24; ++hour)
            for (const double offset : zoneOffsets) {
                double below = day * 86400 + hour * 3600 - offset;
                double above = below;
                for (int step = 0; step < 4; ++step) {
                    ASSERT_EQ(localHour(below, offset), byRemainder(below, offset)) << below << " " << offset;
                    ASSERT_EQ(localHour(above, offset), byRemainder(above, offset)) << above << " " << offset;
                    below = std::nextafter(below, -1e300);
                    above = std::nextafter(above, 1e300);
                    ++seen;
                }
            }
    EXPECT_EQ(seen, 16u * 24 * 11 * 4);
}

TEST(LocalHour, equalsTheRemainderAtAnyInstant) {
    EXPECT_TRUE(rc::check("the hour is that of the remainder", [] {
        const auto whole = *rc::gen::inRange<std::int64_t>(-62135596800, 253402300800);
        const auto fraction = *rc::gen::inRange<std::int64_t>(0, 1 << 24);
        const auto ts = static_cast<double>(whole) + static_cast<double>(fraction) / (1 << 24);
        const double offset = *rc::gen::elementOf(zoneOffsets);
        RC_ASSERT(localHour(ts, offset) == byRemainder(ts, offset));
    }));
}

}  // namespace
}  // namespace ledgerfern
