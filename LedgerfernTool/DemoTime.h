#pragma once

#include <cstdint>
#include <string>

/// Instants of the made-up logs: whole milliseconds since the epoch, within the years 1970 to 9999. All texts
/// are in UTC.
namespace ledgerfern::DemoTime {

using Milliseconds = std::int64_t;

constexpr Milliseconds second = 1000;
constexpr Milliseconds minute = 60 * second;
constexpr Milliseconds hour = 60 * minute;
constexpr Milliseconds day = 24 * hour;
constexpr Milliseconds week = 7 * day;

/// "2026-03-01T10:20:30.456Z"
std::string stamp(Milliseconds instant);
/// "2026-03-01T10-20-30"
std::string fileStamp(Milliseconds instant);
/// "2026/03/01"
std::string dayFolder(Milliseconds instant);
/// 0 for Monday to 6 for Sunday.
int weekdayOf(Milliseconds instant);

}  // namespace ledgerfern::DemoTime
