#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "UsageRecords/TSDate.h"

namespace ledgerfern {
namespace {

using TSDate::isoWeekKey;
using TSDate::isoWeekKeyDate;
using TSDate::utcDayKey;
using TSDate::utcDayKeyDate;
constexpr Instant day = 86400.0;

TEST(TSDateKeysProperty, everyInstantLiesInItsWeekAndDay) {
    EXPECT_TRUE(rc::check("seconds of the years 1 to 9999", [] {
        const auto instant = static_cast<double>(*rc::gen::inRange<std::int64_t>(-62135596800, 253402300800));
        const double monday = isoWeekKeyDate(isoWeekKey(instant)).value();
        RC_ASSERT(monday <= instant && instant < monday + 7 * day);
        const double midnight = utcDayKeyDate(utcDayKey(instant)).value();
        RC_ASSERT(midnight <= instant && instant < midnight + day);
        RC_ASSERT(TSDate::utcString(instant).starts_with(utcDayKey(instant)));
    }));
}

}  // namespace
}  // namespace ledgerfern
