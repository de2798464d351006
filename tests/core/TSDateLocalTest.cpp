#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "UsageRecords/TSDate.h"
#include "ZoneTesting.h"

namespace ledgerfern {
namespace {

using TSDate::localDayKey;
using TSDate::localDayKeyDate;
using TSDate::localOffset;

Instant at(std::string_view text) {
    return TSDate::parse(text).value();
}

/// Every day of the years has a start in its local day, whose last second before is in another, and no moment
/// of the 26 hours before the start is in the day.
void expectSoundDays(int firstYear, int lastYear) {
    const Instant end = at(std::to_string(lastYear) + "-12-31T12:00:00Z");
    for (Instant noon = at(std::to_string(firstYear) + "-01-01T12:00:00Z"); noon <= end; noon += 86400) {
        const std::string key = localDayKey(noon);
        const auto start = localDayKeyDate(key);
        ASSERT_TRUE(start) << key;
        ASSERT_EQ(localDayKey(*start), key);
        ASSERT_LT(localDayKey(*start - 1), key);
        for (Instant before = *start - 60; before > *start - 26 * 3600; before -= 1800)
            ASSERT_NE(localDayKey(before), key) << before;
    }
}

TEST(TSDateLocalDeathTest, inUtcLocalDaysAreUtcDays) {
    expectInZone("UTC", [] {
        EXPECT_EQ(localDayKey(1772360430.0), "2026-03-01");
        EXPECT_EQ(localDayKeyDate("2026-03-01"), 1772323200.0);
        EXPECT_EQ(localOffset(1772360430.0), 0);
        EXPECT_EQ(TSDate::cycleLabel("1772360430", at("2026-06-01T00:00:00Z")), "Mar 1");
        EXPECT_EQ(TSDate::cycleLabel("1772360430", at("2025-06-01T00:00:00Z")), "Mar 1, 2026");
        EXPECT_EQ(TSDate::cycleLabel("1.77236043e9", at("2026-06-01T00:00:00Z")), "Mar 1");
        EXPECT_EQ(TSDate::cycleLabel("-0.5", at("2026-06-01T00:00:00Z")), "Dec 31, 1969");
    });
}

TEST(TSDateLocalDeathTest, aLocalMidnightSeparatesTwoDaysAQuarterHourApart) {
    expectInZone("Asia/Kathmandu", [] {
        EXPECT_EQ(localOffset(1772360430.0), 20700);
        EXPECT_EQ(localDayKey(at("2026-03-01T18:07:30Z")), "2026-03-01");
        EXPECT_EQ(localDayKey(at("2026-03-01T18:14:59Z")), "2026-03-01");
        EXPECT_EQ(localDayKey(at("2026-03-01T18:15:00Z")), "2026-03-02");
        EXPECT_EQ(localDayKeyDate("2026-03-02"), at("2026-03-01T18:15:00Z"));
        expectSoundDays(1985, 1987);
    });
}

TEST(TSDateLocalDeathTest, aYearHasItsSummerTime) {
    expectInZone("America/New_York", [] {
        EXPECT_EQ(localOffset(at("2026-01-15T12:00:00Z")), -18000);
        EXPECT_EQ(localOffset(at("2026-07-15T12:00:00Z")), -14400);
        EXPECT_EQ(localDayKeyDate("2026-03-08"), at("2026-03-08T05:00:00Z"));
        EXPECT_EQ(localDayKeyDate("2026-03-09"), at("2026-03-09T04:00:00Z"));
        EXPECT_EQ(localDayKeyDate("2026-11-02"), at("2026-11-02T05:00:00Z"));
        expectSoundDays(2026, 2026);
    });
}

TEST(TSDateLocalDeathTest, aSummerTimeOfHalfAnHourMovesMidnightByHalfAnHour) {
    expectInZone("Australia/Lord_Howe", [] {
        EXPECT_EQ(localOffset(at("2026-01-15T12:00:00Z")), 39600);
        EXPECT_EQ(localOffset(at("2026-07-15T12:00:00Z")), 37800);
        EXPECT_EQ(localDayKeyDate("2026-04-05"), at("2026-04-04T13:00:00Z"));
        EXPECT_EQ(localDayKeyDate("2026-04-06"), at("2026-04-05T13:30:00Z"));
        expectSoundDays(2025, 2026);
    });
}

TEST(TSDateLocalDeathTest, aDayWithoutMidnightStartsWhenTheClockIsPutForward) {
    expectInZone("America/Sao_Paulo", [] {
        EXPECT_EQ(localDayKeyDate("2018-11-04"), at("2018-11-04T03:00:00Z"));
        EXPECT_EQ(localDayKeyDate("2018-02-18"), at("2018-02-18T03:00:00Z")) << "back to 23:00 just before";
        EXPECT_EQ(localDayKey(at("2018-02-18T02:30:00Z")), "2018-02-17");
        expectSoundDays(2017, 2019);
    });
    expectInZone("Asia/Beirut", [] {
        EXPECT_EQ(localDayKeyDate("2021-03-28"), at("2021-03-27T22:00:00Z"));
        EXPECT_EQ(localDayKeyDate("2021-10-31"), at("2021-10-30T22:00:00Z"));
        expectSoundDays(2020, 2021);
    });
}

TEST(TSDateLocalDeathTest, aDayWithTwoMidnightsStartsAtTheFirst) {
    expectInZone("America/Havana", [] {
        EXPECT_EQ(localDayKeyDate("2018-11-04"), at("2018-11-04T04:00:00Z")) << "back to 0:00 at 1:00";
        expectSoundDays(2018, 2018);
    });
}

TEST(TSDateLocalDeathTest, aClockTurnedBackAMinutePastMidnightSplitsABucket) {
    expectInZone("America/St_Johns", [] {
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(localDayKey(at("2010-11-07T02:29:59Z")), "2010-11-06");
            EXPECT_EQ(localDayKey(at("2010-11-07T02:30:59Z")), "2010-11-07");
            EXPECT_EQ(localDayKey(at("2010-11-07T02:31:00Z")), "2010-11-06");
            EXPECT_EQ(localDayKey(at("2010-11-07T03:29:59Z")), "2010-11-06");
            EXPECT_EQ(localDayKey(at("2010-11-07T03:30:00Z")), "2010-11-07");
        }
        EXPECT_EQ(localDayKeyDate("2010-11-07"), at("2010-11-07T02:30:00Z"));
    });
}

TEST(TSDateLocalDeathTest, anOffsetOfSecondsSplitsABucket) {
    expectInZone("Africa/Monrovia", [] {
        EXPECT_EQ(localOffset(at("1971-06-01T00:00:00Z")), -2670);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(localDayKey(at("1971-06-01T00:44:29Z")), "1971-05-31");
            EXPECT_EQ(localDayKey(at("1971-06-01T00:44:30Z")), "1971-06-01");
        }
        EXPECT_EQ(localDayKeyDate("1971-06-01"), at("1971-06-01T00:44:30Z"));
        expectSoundDays(1971, 1972);
    });
}

TEST(TSDateLocalDeathTest, aDayThatTheCalendarLeftOutHasNoStart) {
    expectInZone("Pacific/Apia", [] {
        EXPECT_EQ(localDayKeyDate("2011-12-29"), at("2011-12-29T10:00:00Z"));
        EXPECT_EQ(localDayKeyDate("2011-12-30"), std::nullopt);
        EXPECT_EQ(localDayKeyDate("2011-12-31"), at("2011-12-30T10:00:00Z"));
        expectSoundDays(2011, 2011);
    });
}

TEST(TSDateLocalDeathTest, aLabelIsJudgedByTheLocalYear) {
    expectInZone("America/Los_Angeles", [] {
        // Monday 1 January 2024, 00:00 UTC, is still 2023 there.
        EXPECT_EQ(TSDate::weekStartLabel("2024-W01", at("2024-06-01T00:00:00Z")), "Jan 1, 2023");
        EXPECT_EQ(TSDate::weekStartLabel("2024-W01", at("2023-06-01T00:00:00Z")), "Jan 1");
        EXPECT_EQ(TSDate::weekStartLabel("2024-W01", at("2024-01-01T07:59:59Z")), "Jan 1")
            << "now is 2023 too";
        EXPECT_EQ(TSDate::cycleLabel("1704067200", at("2024-06-01T00:00:00Z")), "Dec 31, 2023");
    });
    expectInZone("Pacific/Kiritimati", [] {
        EXPECT_EQ(TSDate::cycleLabel("1772360430", at("2026-06-01T00:00:00Z")), "Mar 2");
        EXPECT_EQ(TSDate::cycleLabel("1704060000", at("2024-06-01T00:00:00Z")), "Jan 1");
    });
}

TEST(TSDateLocalDeathTest, aDayThatBeginsOutsideTheCalendarHasNoStart) {
    expectInZone("Asia/Kathmandu", [] {
        EXPECT_EQ(localDayKeyDate("0001-01-01"), std::nullopt);
        EXPECT_NE(localDayKeyDate("0001-01-02"), std::nullopt);
    });
}

TEST(TSDateLocalDeathTest, aLocalWeekBeginsOnMonday) {
    expectInZone("America/New_York", [] {
        const Instant monday = at("2026-02-23T05:00:00Z");
        EXPECT_EQ(TSDate::localWeekStart(monday), monday);
        EXPECT_EQ(TSDate::localWeekStart(at("2026-03-02T04:59:59Z")), monday) << "Sunday evening";
        EXPECT_EQ(TSDate::localWeekStart(at("2026-03-02T05:00:00Z")), at("2026-03-02T05:00:00Z"));
        EXPECT_EQ(TSDate::localWeekStart(at("2026-03-09T03:59:59Z")), at("2026-03-02T05:00:00Z"))
            << "the clock was put on in that week";
        EXPECT_EQ(TSDate::localWeekStart(at("2026-01-01T12:00:00Z")), at("2025-12-29T05:00:00Z"));
    });
    expectInZone("Pacific/Kwajalein", [] {
        // There was no Saturday, 21 August 1993; no Monday has ever been left out since 1970.
        EXPECT_EQ(TSDate::localWeekStart(at("1993-08-22T00:00:00Z")), at("1993-08-16T12:00:00Z"));
    });
}

TEST(TSDateLocalDeathTest, aLocalDayLastsUntilTheNextOne) {
    expectInZone("America/New_York", [] {
        EXPECT_EQ(TSDate::localDay(at("2026-03-01T12:00:00Z")),
                  (TimeRange{at("2026-03-01T05:00:00Z"), at("2026-03-02T05:00:00Z")}));
        EXPECT_EQ(TSDate::localDay(at("2026-03-01T05:00:00Z")).start, at("2026-03-01T05:00:00Z"));
        EXPECT_EQ(TSDate::localDay(at("2026-03-01T04:59:59Z")).end, at("2026-03-01T05:00:00Z"));
        EXPECT_EQ(TSDate::localDay(at("2026-03-08T12:00:00Z")),
                  (TimeRange{at("2026-03-08T05:00:00Z"), at("2026-03-09T04:00:00Z")}))
            << "23 hours";
        EXPECT_EQ(TSDate::localDay(at("2026-11-01T12:00:00Z")),
                  (TimeRange{at("2026-11-01T04:00:00Z"), at("2026-11-02T05:00:00Z")}))
            << "25 hours";
    });
    expectInZone("Asia/Beirut", [] {
        EXPECT_EQ(TSDate::localDay(at("2021-03-28T12:00:00Z")),
                  (TimeRange{at("2021-03-27T22:00:00Z"), at("2021-03-28T21:00:00Z")}))
            << "from 1:00, as there is no midnight";
        EXPECT_EQ(TSDate::localDay(at("2021-03-27T12:00:00Z")).end, at("2021-03-27T22:00:00Z"));
    });
    expectInZone("Pacific/Apia", [] {
        EXPECT_EQ(TSDate::localDay(at("2011-12-30T00:00:00Z")),
                  (TimeRange{at("2011-12-29T10:00:00Z"), at("2011-12-30T10:00:00Z")}))
            << "the next day is left out";
    });
}

TEST(TSDateLocalDeathTest, anyInstantHasALocalDay) {
    expectInZone("Asia/Kathmandu", [] {
        for (const Instant instant : {-62135596800.0, 253402300799.0, 1e300, -1e300, std::nan("")})
            EXPECT_LT(TSDate::localDay(instant).start, TSDate::localDay(instant).end) << instant;
    });
}

/// What lies in a stretch has one key, and a stretch holds the instant that it was asked for.
void expectOneKeyAStretch(Instant from, Instant to, Instant step) {
    for (Instant instant = from; instant < to; instant += step) {
        const TimeRange stretch = TSDate::localDayStretch(instant);
        ASSERT_TRUE(stretch.contains(instant)) << instant;
        const std::string key = localDayKey(instant);
        for (int part = 0; part < 8; ++part)
            ASSERT_EQ(localDayKey(stretch.start + (stretch.end - stretch.start) * part / 8), key) << instant;
        ASSERT_EQ(localDayKey(stretch.end - 0.25), key) << instant;
    }
}

TEST(TSDateLocalDeathTest, aStretchOfALocalDayHasOneKey) {
    for (const char* zone : {"UTC", "America/New_York", "Asia/Beirut", "Africa/Casablanca", "Asia/Kathmandu",
                             "Australia/Lord_Howe", "America/Havana"})
        expectInZone(zone, [] {
            expectOneKeyAStretch(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z"), 1799.5);
        });
    expectInZone("America/St_Johns",
                 [] { expectOneKeyAStretch(at("2010-11-06T00:00:00Z"), at("2010-11-08T12:00:00Z"), 13.5); });
    expectInZone("Africa/Monrovia",
                 [] { expectOneKeyAStretch(at("1972-01-05T00:00:00Z"), at("1972-01-09T00:00:00Z"), 13.5); });
    expectInZone("Pacific/Apia",
                 [] { expectOneKeyAStretch(at("2011-12-28T00:00:00Z"), at("2012-01-02T00:00:00Z"), 59.5); });
}

TEST(TSDateLocalDeathTest, aDayWithoutAClockChangeIsOneStretch) {
    expectInZone("America/New_York", [] {
        const Instant noon = at("2026-05-01T16:00:00Z");
        EXPECT_EQ(TSDate::localDayStretch(noon), TSDate::localDay(noon));
        EXPECT_EQ(TSDate::localDayStretch(noon), (TimeRange{noon - 43200, noon + 43200}));
    });
}

TEST(TSDateLocalDeathTest, theOffsetsAreThoseOfTheSystem) {
    for (const char* zone : {"America/New_York", "Africa/Casablanca", "Africa/Cairo", "Europe/Dublin"})
        expectInZone(zone, [] {
            for (time_t time = 1546300800; time < 2398377600; time += 3 * 3600 + 1) {
                tm fields{};
                ASSERT_EQ(localOffset(static_cast<Instant>(time)), localtime_r(&time, &fields)->tm_gmtoff);
            }
        });
}

TEST(TSDateLocalDeathTest, theZoneStaysThatOfTheFirstUse) {
    expectInZone("Asia/Kathmandu", [] {
        EXPECT_EQ(localOffset(1772360430.0), 20700);
        setenv("TZ", "UTC", 1);
        tzset();
        EXPECT_EQ(localOffset(1772360430.0), 20700);
        EXPECT_EQ(localDayKey(at("2026-03-01T18:15:00Z")), "2026-03-02");
        EXPECT_EQ(localDayKeyDate("2026-03-02"), at("2026-03-01T18:15:00Z"));
    });
}

}  // namespace
}  // namespace ledgerfern
