#pragma once

#include <cstdint>
#include <string>

#include "UsageRecords/Records.h"

/// The number and date texts that all screens and reports share, whatever the user's locale.
namespace ledgerfern {

/// A token count: "999", "1.0K", "1.2M", "2.50B". A negative count keeps its sign.
std::string fmtTokens(std::int64_t n);

/// A percentage such as 42.5 in whole percent, halves away from zero: "43%". "—" where it isn't a number that
/// fits 64 bits.
std::string fmtPercent(double percent);

/// "2026-03-01 10:20" in the local time zone, seconds dropped. "—" outside the years 1 to 9999 of UTC; within
/// them local time may be of the year 0 or 10000, and is written all the same.
std::string fmtLocalTime(Instant instant);

}  // namespace ledgerfern
