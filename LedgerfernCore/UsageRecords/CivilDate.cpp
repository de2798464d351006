#include "UsageRecords/CivilDate.h"

#include <chrono>

namespace ledgerfern {

namespace {

// The calendar repeats itself after 400 years, so every date is one of the first 400 years, some eras away.
constexpr int yearsPerEra = 400;
constexpr int daysPerEra = 146097;

}  // namespace

CivilDate civilDate(std::int64_t dayNumber) {
    const std::int64_t era = floorDivided<std::int64_t>(dayNumber, daysPerEra);
    const auto dayOfEra = static_cast<int>(dayNumber - era * daysPerEra);
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{dayOfEra}}};
    return {int{date.year()} + era * yearsPerEra, unsigned{date.month()}, unsigned{date.day()}};
}

WideInteger dayNumber(WideInteger year, WideInteger month, WideInteger day) {
    const WideInteger months = year * 12 + (month - 1);
    const WideInteger wholeYear = floorDivided<WideInteger>(months, 12);
    const WideInteger era = floorDivided<WideInteger>(wholeYear, yearsPerEra);
    const std::chrono::year yearOfEra{static_cast<int>(wholeYear - era * yearsPerEra)};
    const std::chrono::month monthOfYear{static_cast<unsigned>(months - wholeYear * 12) + 1};
    const std::chrono::sys_days firstOfMonth{yearOfEra / monthOfYear / 1};
    return era * daysPerEra + firstOfMonth.time_since_epoch().count() + (day - 1);
}

int weekday(WideInteger dayNumber) {
    // 1970-01-01 was a Thursday.
    const int sinceThursday = static_cast<int>(dayNumber - floorDivided<WideInteger>(dayNumber, 7) * 7);
    return (sinceThursday + 3) % 7;
}

}  // namespace ledgerfern
