#pragma once

#include <cstdint>

/// The proleptic Gregorian calendar in UTC for any year: that of <chrono> ends at the year 32767. Days are
/// numbered from 1970-01-01, which is 0.
namespace ledgerfern {

/// Holds every date and time that can be put together from 64-bit numbers.
__extension__ typedef __int128 WideInteger;

struct CivilDate {
    std::int64_t year = 1970;
    unsigned month = 1;
    unsigned day = 1;

    bool operator==(const CivilDate&) const = default;
};

constexpr std::int64_t secondsPerDay = 86400;

/// The quotient cut toward minus infinity, for a positive divisor.
template <class Integer>
constexpr Integer floorDivided(Integer value, Integer divisor) {
    const Integer quotient = value / divisor;
    return value % divisor < 0 ? quotient - 1 : quotient;
}

CivilDate civilDate(std::int64_t dayNumber);

/// The number of the day; months and days out of range carry over (31 April is 1 May). Each argument must fit
/// 64 bits.
WideInteger dayNumber(WideInteger year, WideInteger month, WideInteger day);

/// 0 for Monday to 6 for Sunday.
int weekday(WideInteger dayNumber);

}  // namespace ledgerfern
