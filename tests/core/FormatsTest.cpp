#include "Analytics/Formats.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace ledgerfern {
namespace {

TEST(Formats, tokensAreWrittenByTheirSize) {
    EXPECT_EQ(fmtTokens(0), "0");
    EXPECT_EQ(fmtTokens(999), "999");
    EXPECT_EQ(fmtTokens(1000), "1.0K");
    EXPECT_EQ(fmtTokens(999'999), "1000.0K");
    EXPECT_EQ(fmtTokens(1'000'000), "1.0M");
    EXPECT_EQ(fmtTokens(1'230'000), "1.2M");
    EXPECT_EQ(fmtTokens(999'999'999), "1000.0M");
    EXPECT_EQ(fmtTokens(1'000'000'000), "1.00B");
    EXPECT_EQ(fmtTokens(2'500'000'000), "2.50B");
}

TEST(Formats, negativeTokensKeepTheirSign) {
    EXPECT_EQ(fmtTokens(-1), "-1");
    EXPECT_EQ(fmtTokens(-999), "-999");
    EXPECT_EQ(fmtTokens(-1500), "-1.5K");
    EXPECT_EQ(fmtTokens(-2'500'000), "-2.5M");
    EXPECT_EQ(fmtTokens(std::numeric_limits<std::int64_t>::min()), "-9223372036.85B");
}

TEST(Formats, percentagesAreWholeWithHalvesAwayFromZero) {
    EXPECT_EQ(fmtPercent(42.5), "43%");
    EXPECT_EQ(fmtPercent(42.4), "42%");
    EXPECT_EQ(fmtPercent(0), "0%");
    EXPECT_EQ(fmtPercent(-0.4), "0%");
    EXPECT_EQ(fmtPercent(-0.5), "-1%");
    EXPECT_EQ(fmtPercent(100), "100%");
    EXPECT_EQ(fmtPercent(1e300), "—");
    EXPECT_EQ(fmtPercent(std::numeric_limits<double>::quiet_NaN()), "—");
}

/// Runs in a child process, whose local zone isn't set yet.
void exitWithTheLocalTime(const char* zone, Instant instant, const char* expected) {
    setenv("TZ", zone, 1);
    std::_Exit(fmtLocalTime(instant) == expected ? 0 : 1);
}

TEST(FormatsDeathTest, timesAreLocalWithTheirSecondsDropped) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitWithTheLocalTime("UTC0", 1772360459.9, "2026-03-01 10:20"), testing::ExitedWithCode(0),
                "");
    EXPECT_EXIT(exitWithTheLocalTime("<+02>-2", 1772407800, "2026-03-02 01:30"), testing::ExitedWithCode(0),
                "");
    EXPECT_EXIT(exitWithTheLocalTime("<-0330>3:30", 1772330400, "2026-02-28 22:30"),
                testing::ExitedWithCode(0), "");
    EXPECT_EXIT(exitWithTheLocalTime("UTC0", -0.5, "1969-12-31 23:59"), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(exitWithTheLocalTime("UTC0", -62135596800, "0001-01-01 00:00"), testing::ExitedWithCode(0),
                "");
    EXPECT_EXIT(exitWithTheLocalTime("UTC0", 253402300799, "9999-12-31 23:59"), testing::ExitedWithCode(0),
                "");
}

TEST(Formats, anInstantOutsideTheCalendarHasNoText) {
    EXPECT_EQ(fmtLocalTime(1e300), "—");
    EXPECT_EQ(fmtLocalTime(-1e300), "—");
    EXPECT_EQ(fmtLocalTime(253402300800), "—");
    EXPECT_EQ(fmtLocalTime(-62135596801), "—");
    EXPECT_EQ(fmtLocalTime(std::numeric_limits<double>::quiet_NaN()), "—");
}

}  // namespace
}  // namespace ledgerfern
