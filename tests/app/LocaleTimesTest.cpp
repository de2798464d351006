#include "Application/LocaleTimes.h"

#include <gtest/gtest.h>

#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

/// The instant at which clocks in the local zone show so many seconds since the epoch.
Instant local(double seconds) {
    return seconds - TSDate::localOffset(seconds);
}

/// The text with plain blanks; newer Qt parts the time from its half of the day by a narrow one that doesn't
/// break.
std::string plain(const std::string& text) {
    return QString::fromStdString(text).replace(QChar(0x202F), u' ').toStdString();
}

// 2026-03-22, a Sunday, 09:05:59.
constexpr double sunday = 1774170359;

}  // namespace

TEST(LocaleTimes, weekdayAndTimeAreWrittenAsTheLocaleHasThem) {
    EXPECT_EQ(plain(LocaleTimes::weekdayAndTime(local(sunday), QLocale("en_US"))), "Sun 9:05 AM");
    EXPECT_EQ(LocaleTimes::weekdayAndTime(local(sunday), QLocale("en_GB")), "Sun 09:05");
    EXPECT_EQ(LocaleTimes::weekdayAndTime(local(sunday), QLocale("de_DE")), "So. 09:05");
}

TEST(LocaleTimes, theCLocaleHasNoSecondsEither) {
    EXPECT_EQ(LocaleTimes::weekdayAndTime(local(sunday), QLocale::c()), "Sun 09:05");
}

TEST(LocaleTimes, anInstantOutsideTheCalendarHasNoText) {
    EXPECT_EQ(LocaleTimes::weekdayAndTime(253402300800.0, QLocale::c()), "");
    EXPECT_EQ(LocaleTimes::weekdayAndTime(-62135596800.0 - 1, QLocale::c()), "");
    EXPECT_NE(LocaleTimes::weekdayAndTime(253402300800.0 - 86400, QLocale::c()), "");
}

}  // namespace ledgerfern
