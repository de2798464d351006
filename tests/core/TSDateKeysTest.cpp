#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "UsageRecords/TSDate.h"

namespace ledgerfern {
namespace {

using TSDate::isoWeekKey;
using TSDate::isoWeekKeyDate;
using TSDate::utcDayKey;
using TSDate::utcDayKeyDate;

constexpr Instant day = 86400.0;

Instant at(std::string_view text) {
    return TSDate::parse(text).value();
}

TEST(TSDateKeys, anInstantHasItsWeekAndItsDay) {
    EXPECT_EQ(isoWeekKey(at("2026-03-01T10:20:30Z")), "2026-W09");
    EXPECT_EQ(utcDayKey(at("2026-03-01T10:20:30Z")), "2026-03-01");
}

TEST(TSDateKeys, aWeekCarriesTheWeekBasedYear) {
    EXPECT_EQ(isoWeekKey(at("2027-01-01T00:00:00Z")), "2026-W53");
    EXPECT_EQ(isoWeekKey(at("2024-12-30T00:00:00Z")), "2025-W01");
    EXPECT_EQ(isoWeekKey(at("2024-12-29T23:59:59Z")), "2024-W52");
    EXPECT_EQ(isoWeekKey(at("2027-01-03T23:59:59Z")), "2026-W53");
    EXPECT_EQ(isoWeekKey(at("2027-01-04T00:00:00Z")), "2027-W01");
    EXPECT_EQ(isoWeekKey(at("0001-01-01T00:00:00Z")), "0001-W01");
    EXPECT_EQ(isoWeekKey(at("9999-12-31T00:00:00Z")), "9999-W52");
}

TEST(TSDateKeys, theHoursAroundTheEpochAreTwo) {
    EXPECT_EQ(utcDayKey(1.0), "1970-01-01");
    EXPECT_EQ(utcDayKey(-1.0), "1969-12-31");
    EXPECT_EQ(utcDayKey(-0.001), "1969-12-31");
    EXPECT_EQ(utcDayKey(0.0), "1970-01-01");
    EXPECT_EQ(isoWeekKey(-3 * day - 1), "1969-W52");
    EXPECT_EQ(isoWeekKey(-3 * day), "1970-W01");
}

TEST(TSDateKeys, anyInstantHasAKey) {
    EXPECT_EQ(utcDayKey(253402300800.0), "10000-01-01");
    EXPECT_EQ(utcDayKey(-62135596801.0), "0000-12-31");
    EXPECT_EQ(isoWeekKey(253402300800.0 + 2 * day), "10000-W01");
    EXPECT_EQ(utcDayKey(std::numeric_limits<double>::quiet_NaN()), "1970-01-01");
    EXPECT_EQ(utcDayKey(std::numeric_limits<double>::infinity()), utcDayKey(1e300));
    EXPECT_EQ(isoWeekKey(-std::numeric_limits<double>::infinity()), isoWeekKey(-1e300));
    EXPECT_EQ(TSDate::utcString(1e300), TSDate::utcString(4611686018427387904.0));
    EXPECT_EQ(TSDate::localDayKey(1e300), utcDayKey(1e300)) << "no local time is known so far away";
    EXPECT_EQ(TSDate::localOffset(-1e300), 0);
}

TEST(TSDateKeys, aWeekKeyReadsAsItsMonday) {
    EXPECT_EQ(isoWeekKeyDate("2026-W09"), 1771804800.0);
    EXPECT_EQ(isoWeekKeyDate("2025-W01"), at("2024-12-30T00:00:00Z"));
    EXPECT_EQ(isoWeekKeyDate("2026-W53"), at("2026-12-28T00:00:00Z"));
}

TEST(TSDateKeys, aWeekLastsFromMondayToMonday) {
    const TimeRange week{1771804800.0, 1771804800.0 + 7 * day};
    EXPECT_EQ(TSDate::isoWeekStretch(at("2026-03-01T10:20:30Z")), week);
    EXPECT_EQ(TSDate::isoWeekStretch(week.start), week);
    EXPECT_EQ(TSDate::isoWeekStretch(week.end - 0.001), week);
    EXPECT_EQ(TSDate::isoWeekStretch(week.end).start, week.end);
    EXPECT_EQ(TSDate::isoWeekStretch(-1), (TimeRange{-3 * day, 4 * day}));
}

TEST(TSDateKeys, whatIsNoWeekKeyIsAbsent) {
    for (const char* key : {"2026-09", "2026-X09", "2026-W", "W09", "2026-W09-1", "", "-", "2026-w09",
                            "x-W09", "2026-W0x", "2026- W09", "2026-W9223372036854775808", "nonsense"})
        EXPECT_EQ(isoWeekKeyDate(key), std::nullopt) << key;
}

TEST(TSDateKeys, aWeekKeyIsReadLeniently) {
    EXPECT_EQ(isoWeekKeyDate("-2026--W9-"), 1771804800.0) << "empty pieces are dropped";
    EXPECT_EQ(isoWeekKeyDate("+2026-W+009"), 1771804800.0) << "signs and zeros are read";
    EXPECT_EQ(isoWeekKeyDate("2026-W54"), at("2027-01-04T00:00:00Z")) << "weeks out of range carry over";
    EXPECT_EQ(isoWeekKeyDate("2026-W00"), at("2025-12-22T00:00:00Z"));
}

TEST(TSDateKeys, aWeekOutsideTheCalendarIsAbsent) {
    for (const char* key : {"0000-W01", "10000-W01", "9223372036854775807-W9223372036854775807", "1-W0",
                            "2026-W9223372036854775807"})
        EXPECT_EQ(isoWeekKeyDate(key), std::nullopt) << key;
    EXPECT_EQ(isoWeekKeyDate("1-W1"), -62135596800.0);
    EXPECT_EQ(isoWeekKeyDate("9999-W52"), at("9999-12-27T00:00:00Z"));
}

TEST(TSDateKeys, aDayKeyReadsAsItsMidnight) {
    EXPECT_EQ(utcDayKeyDate("2026-03-01"), 1772323200.0);
    EXPECT_EQ(utcDayKeyDate("2024-02-29"), at("2024-02-29T00:00:00Z"));
    EXPECT_EQ(utcDayKeyDate("0001-01-01"), -62135596800.0);
}

TEST(TSDateKeys, whatIsNoDayKeyIsAbsent) {
    for (const char* key :
         {"", "2026-03-1", "2026-3-01", "2026/03/01", "2026-03-01 ", "2026-03-01T", "2026-13-01",
          "2026-00-01", "2026-02-29", "2026-04-31", "2026-03-00", "0000-01-01", "20x6-03-01", "+026-03-01",
          "2026-+3-01", "10000-01-01", "2026-W09", "?"}) {
        EXPECT_EQ(utcDayKeyDate(key), std::nullopt) << key;
        EXPECT_EQ(TSDate::localDayKeyDate(key), std::nullopt) << key;
    }
}

TEST(TSDateKeys, aWeekLabelNamesTheMonday) {
    EXPECT_EQ(TSDate::weekStartLabel("2026-W09", at("2026-06-01T00:00:00Z")), "Feb 23");
    EXPECT_EQ(TSDate::weekStartLabel("2026-W09", at("2027-06-01T00:00:00Z")), "Feb 23, 2026");
    EXPECT_EQ(TSDate::weekStartLabel("2026-W09", at("2025-06-01T00:00:00Z")), "Feb 23, 2026");
    EXPECT_EQ(TSDate::weekStartLabel("2025-W01", at("2026-06-01T00:00:00Z")), "Dec 30, 2024");
    EXPECT_EQ(TSDate::weekStartLabel("2026-W10", at("2026-06-01T00:00:00Z")), "Mar 2") << "no leading zero";
}

TEST(TSDateKeys, aWeekKeyThatDoesNotReadIsItsOwnLabel) {
    EXPECT_EQ(TSDate::weekStartLabel("nonsense", 0.0), "nonsense");
    EXPECT_EQ(TSDate::weekStartLabel("", 0.0), "");
    EXPECT_EQ(TSDate::weekStartLabel("2026-W", 0.0), "2026-W");
}

TEST(TSDateKeys, aCycleKeyThatDoesNotReadIsItsOwnLabel) {
    for (const char* key : {"abc", "", "inf", "nan", "1e400", "1e300", "-62135596801", " 1772360430"})
        EXPECT_EQ(TSDate::cycleLabel(key, 1772360430.0), key);
}

TEST(TSDateKeys, anyThreadMayAskForKeys) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int hour = 0; hour < 500; ++hour) {
                const double instant = 1772323200.0 + hour * 3600.0;
                EXPECT_EQ(isoWeekKeyDate(isoWeekKey(instant)), isoWeekKeyDate(isoWeekKey(instant + 1)));
                EXPECT_EQ(utcDayKey(instant), utcDayKey(instant + 3599));
                EXPECT_EQ(TSDate::localDayKey(instant), TSDate::localDayKey(instant + 899));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace ledgerfern
