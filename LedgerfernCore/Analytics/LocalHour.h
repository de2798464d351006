#pragma once

#include <cmath>
#include <cstddef>

#include "UsageRecords/Records.h"

namespace ledgerfern {

/// The local hour of the day, 0 to 23, of an instant where local time is `zoneOffset` seconds ahead of UTC:
/// with h = fmod((`ts` + `zoneOffset`) / 3600, 24) + 24, that is h cut to an integer, modulo 24. The instant
/// must lie within the years 1 to 9999.
inline std::size_t localHour(Instant ts, double zoneOffset) {
    const double hours = (ts + zoneOffset) / 3600;
    // From 48 on the remainder plus 24 is exact: the sum lies in [24, 48), where doubles are as dense as they
    // are at 48 or denser. So the whole hours alone decide, and the slow fmod can be left out. Below, the sum
    // may round up to the next hour.
    if (hours >= 48) [[likely]]
        return static_cast<std::size_t>(hours) % 24;
    return static_cast<std::size_t>(std::fmod(hours, 24) + 24) % 24;
}

}  // namespace ledgerfern
