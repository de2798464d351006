#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "UsageRecords/Records.h"
#include "UsageRecords/TimeRange.h"

/// Timestamps of both agents' logs, and the calendar keys under which everything is summed.
///
/// Any thread may call every function. The local time zone is the one in force at the first use, and stays
/// for the life of the process.
///
/// Texts and keys are made from any instant: one further from the epoch than 2^62 seconds counts as that far,
/// NaN as the epoch itself. What reads a text or a key gives instants of the years 1 to 9999 alone.
namespace ledgerfern::TSDate {

/// The instant that a log's timestamp names, or absent. Hand-written for speed, and deliberately lenient:
/// out-of-range components carry over (31 April is 1 May), seconds that don't read are 0, a "+" offset counts
/// and a "-" offset doesn't. An instant outside the years 1 to 9999 is absent.
std::optional<Instant> parse(std::optional<std::string_view> text);

/// The years 1 to 9999, in UTC, are the instants from `calendarStart` up to `calendarEnd`, which isn't one of
/// them.
inline constexpr Instant calendarStart = -62135596800.0;
inline constexpr Instant calendarEnd = 253402300800.0;

constexpr bool isWithinCalendar(Instant instant) {
    return instant >= calendarStart && instant < calendarEnd;
}

/// "2026-03-01 10:20 UTC"; seconds are dropped, not rounded.
std::string utcString(Instant instant);

/// "2026-W09": ISO week-based year and ISO week, in UTC.
std::string isoWeekKey(Instant instant);
/// "2026-03-01", in UTC.
std::string utcDayKey(Instant instant);
/// "2026-03-01", in the local time zone.
std::string localDayKey(Instant instant);

/// Monday 00:00:00 UTC of that week; absent where the key isn't one.
std::optional<Instant> isoWeekKeyDate(std::string_view key);
/// 00:00:00 UTC of that day; absent where the key isn't one.
std::optional<Instant> utcDayKeyDate(std::string_view key);
/// The first moment of that local day, also where its midnight is left out or comes twice; absent where the
/// key isn't one, and for a day that the local calendar left out.
std::optional<Instant> localDayKeyDate(std::string_view key);

/// The local day of an instant: from its first moment to that of the next day that the local calendar has.
TimeRange localDay(Instant instant);

/// The first moment of the local Monday that begins the instant's week; that of the instant's own day where
/// the local calendar left that Monday out.
Instant localWeekStart(Instant instant);

/// The week that has the instant's ISO week key.
TimeRange isoWeekStretch(Instant instant);
/// A time around the instant that has its local day key throughout. As a rule it is the whole day; where the
/// clock is changed, it may be as little as a second.
TimeRange localDayStretch(Instant instant);

/// "Feb 23", or "Dec 30, 2024" in another year than that of `now`. A text that is no week key is its own
/// label. The day is that of the week's Monday in UTC, the years are compared in the local calendar.
std::string weekStartLabel(std::string_view key, Instant now);
/// The same for a cycle key, decimal seconds since the epoch, with the day in the local zone. A number
/// outside the years 1 to 9999 is its own label.
std::string cycleLabel(std::string_view startEpoch, Instant now);

/// Seconds that local time is ahead of UTC at the instant.
int localOffset(Instant instant);

}  // namespace ledgerfern::TSDate
