#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "Foundation/Numbers.h"
#include "Foundation/Pieces.h"
#include "UsageRecords/CivilDate.h"
#include "UsageRecords/KeyCache.h"
#include "UsageRecords/LocalZone.h"
#include "UsageRecords/TSDate.h"

// Every key and label follows from a day's number: in UTC from the instant's seconds alone, locally from the
// seconds and the zone's offset at that instant.

namespace ledgerfern::TSDate {

namespace {

// An hour can't straddle a UTC day or week. A local midnight falls on a quarter hour, save in zones of old
// and in a few that turned back a clock a minute past midnight: see `formattedLocalDay`.
constexpr std::int64_t utcBucket = 3600;
constexpr std::int64_t localBucket = 900;

struct KeyCaches {
    std::mutex keyLock;
    KeyCache week{keyLock};
    KeyCache day{keyLock};
    KeyCache localDay{keyLock};
};

/// Never destroyed: a worker may still ask for keys while the process ends.
KeyCaches& caches() {
    static KeyCaches& caches = *new KeyCaches;
    return caches;
}

/// The whole seconds of an instant, cut toward minus infinity.
std::int64_t wholeSeconds(Instant instant) {
    constexpr double bound = 4611686018427387904.0;  // 2^62: leaves room for offsets
    if (std::isnan(instant)) return 0;
    return static_cast<std::int64_t>(std::clamp(std::floor(instant), -bound, bound));
}

std::int64_t utcDay(std::int64_t seconds) {
    return floorDivided(seconds, secondsPerDay);
}

/// Never destroyed, like the caches.
const LocalZone& zone() {
    static const LocalZone& zone = *new LocalZone;
    return zone;
}

std::int64_t localDayNumber(std::int64_t seconds) {
    return utcDay(seconds + zone().offsetAt(seconds));
}

std::string dayText(std::int64_t day) {
    const CivilDate date = civilDate(day);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04" PRId64 "-%02u-%02u", date.year, date.month, date.day);
    return text.data();
}

std::string monthDayText(std::int64_t day) {
    static constexpr std::array<const char*, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const CivilDate date = civilDate(day);
    return months[date.month - 1] + (" " + std::to_string(date.day));
}

std::string weekText(std::int64_t day) {
    // A week belongs to the year of its Thursday.
    const std::int64_t thursday = day - weekday(day) + 3;
    const std::int64_t year = civilDate(thursday).year;
    const auto dayOfYear = static_cast<int>(thursday - static_cast<std::int64_t>(dayNumber(year, 1, 1)));
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04" PRId64 "-W%02d", year, dayOfYear / 7 + 1);
    return text.data();
}

/// The local day's key, and whether the whole bucket shares it: not if the zone's offset or the day changes
/// between the bucket's ends.
KeyCache::Formatted formattedLocalDay(std::int64_t seconds, std::int64_t bucket) {
    const std::int64_t first = bucket * localBucket;
    const std::int64_t last = first + localBucket - 1;
    const bool isWhole =
        zone().offsetAt(first) == zone().offsetAt(last) && localDayNumber(first) == localDayNumber(last);
    return {dayText(localDayNumber(seconds)), isWhole};
}

std::optional<Instant> instantOf(WideInteger day) {
    const auto instant = static_cast<Instant>(day * secondsPerDay);
    if (!isWithinCalendar(instant)) return std::nullopt;
    return instant;
}

std::optional<int> digits(std::string_view text) {
    const bool allDigits = std::all_of(text.begin(), text.end(), isDigit);
    if (!allDigits) return std::nullopt;
    int value = 0;
    for (const char c : text)
        value = value * 10 + (c - '0');
    return value;
}

/// The number of the day that a day key names.
std::optional<std::int64_t> dayOfKey(std::string_view key) {
    if (key.size() != 10 || key[4] != '-' || key[7] != '-') return std::nullopt;
    const auto year = digits(key.substr(0, 4));
    const auto month = digits(key.substr(5, 2));
    const auto day = digits(key.substr(8, 2));
    if (!year || !month || !day || *year < 1) return std::nullopt;
    const auto number = static_cast<std::int64_t>(dayNumber(*year, *month, *day));
    const CivilDate asked{*year, static_cast<unsigned>(*month), static_cast<unsigned>(*day)};
    if (civilDate(number) != asked) return std::nullopt;  // there is no such day in its month
    return number;
}

/// The first second of a local day within a stretch of constant offset, where local days are plain
/// arithmetic.
std::optional<std::int64_t> startWithin(std::int64_t from, std::int64_t to, std::int64_t day) {
    const std::int64_t midnight = day * secondsPerDay - zone().offsetAt(from);
    const std::int64_t start = std::max(from, midnight);
    if (start >= std::min(to, midnight + secondsPerDay)) return std::nullopt;
    return start;
}

/// The first second of a local day. Looks through the time around it, in steps with at most one change of
/// offset each.
std::optional<std::int64_t> startOfLocalDay(std::int64_t day) {
    constexpr std::int64_t reach = 26 * 3600;  // further than any zone is from UTC
    constexpr std::int64_t step = 6 * 3600;
    const std::int64_t end = (day + 1) * secondsPerDay + reach;
    for (std::int64_t from = day * secondsPerDay - reach; from < end; from += step) {
        const std::int64_t to = from + step;
        const std::int64_t change =
            zone().offsetAt(from) == zone().offsetAt(to) ? to : zone().changeWithin(from, to);
        if (const auto start = startWithin(from, change, day)) return start;
        if (const auto start = startWithin(change, to, day)) return start;
    }
    return std::nullopt;
}

TimeRange rangeOf(std::int64_t start, std::int64_t end) {
    return {static_cast<Instant>(start), static_cast<Instant>(end)};
}

/// True where local time is as far from UTC at all times from `start` to `end` as at the start. There may be
/// but one change in six hours.
bool hasOneOffset(std::int64_t start, std::int64_t end) {
    constexpr std::int64_t step = 6 * 3600;
    const int offset = zone().offsetAt(start);
    for (std::int64_t at = start + step; at < end; at += step)
        if (zone().offsetAt(at) != offset) return false;
    return zone().offsetAt(end - 1) == offset;
}

std::string withForeignYear(std::string label, Instant date, Instant now) {
    const std::int64_t year = civilDate(localDayNumber(wholeSeconds(date))).year;
    if (year != civilDate(localDayNumber(wholeSeconds(now))).year) label += ", " + std::to_string(year);
    return label;
}

}  // namespace

int localOffset(Instant instant) {
    return zone().offsetAt(wholeSeconds(instant));
}

std::string utcString(Instant instant) {
    const std::int64_t seconds = wholeSeconds(instant);
    const std::int64_t day = utcDay(seconds);
    const auto minute = static_cast<int>((seconds - day * secondsPerDay) / 60);
    std::array<char, 24> time{};
    std::snprintf(time.data(), time.size(), " %02d:%02d UTC", minute / 60, minute % 60);
    return dayText(day) + time.data();
}

std::string isoWeekKey(Instant instant) {
    const std::int64_t seconds = wholeSeconds(instant);
    return caches().week.key(floorDivided(seconds, utcBucket),
                             [&] { return KeyCache::Formatted{weekText(utcDay(seconds))}; });
}

std::string utcDayKey(Instant instant) {
    const std::int64_t seconds = wholeSeconds(instant);
    return caches().day.key(floorDivided(seconds, utcBucket),
                            [&] { return KeyCache::Formatted{dayText(utcDay(seconds))}; });
}

std::string localDayKey(Instant instant) {
    const std::int64_t seconds = wholeSeconds(instant);
    const std::int64_t bucket = floorDivided(seconds, localBucket);
    return caches().localDay.key(bucket, [&] { return formattedLocalDay(seconds, bucket); });
}

std::optional<Instant> isoWeekKeyDate(std::string_view key) {
    const Pieces<2> pieces(key, '-');
    if (pieces.count != 2 || !pieces.kept[1].starts_with('W')) return std::nullopt;
    const auto year = readInteger(pieces.kept[0]);
    const auto week = readInteger(pieces.kept[1].substr(1));
    if (!year || !week) return std::nullopt;
    const WideInteger fourth = dayNumber(*year, 1, 4);  // always in week 1
    return instantOf(fourth - weekday(fourth) + (WideInteger{*week} - 1) * 7);
}

std::optional<Instant> utcDayKeyDate(std::string_view key) {
    const auto day = dayOfKey(key);
    if (!day) return std::nullopt;
    return static_cast<Instant>(*day * secondsPerDay);
}

std::optional<Instant> localDayKeyDate(std::string_view key) {
    const auto day = dayOfKey(key);
    if (!day) return std::nullopt;
    const auto start = startOfLocalDay(*day);
    // The first and the last day of the calendar begin outside it in some zones.
    if (!start || !isWithinCalendar(static_cast<Instant>(*start))) return std::nullopt;
    return static_cast<Instant>(*start);
}

TimeRange localDay(Instant instant) {
    const std::int64_t day = localDayNumber(wholeSeconds(instant));
    const std::int64_t start = startOfLocalDay(day).value_or(day * secondsPerDay);
    std::optional<std::int64_t> end = startOfLocalDay(day + 1);
    if (!end) end = startOfLocalDay(day + 2);  // a calendar leaves out a day, never two in a row
    return rangeOf(start, end.value_or(start + secondsPerDay));
}

Instant localWeekStart(Instant instant) {
    const std::int64_t day = localDayNumber(wholeSeconds(instant));
    const auto monday = startOfLocalDay(day - weekday(day));
    return monday ? static_cast<Instant>(*monday) : localDay(instant).start;
}

TimeRange isoWeekStretch(Instant instant) {
    const std::int64_t day = utcDay(wholeSeconds(instant));
    const std::int64_t monday = day - weekday(day);
    return rangeOf(monday * secondsPerDay, (monday + 7) * secondsPerDay);
}

TimeRange localDayStretch(Instant instant) {
    const std::int64_t seconds = wholeSeconds(instant);
    const std::int64_t offset = zone().offsetAt(seconds);
    const std::int64_t midnight = utcDay(seconds + offset) * secondsPerDay - offset;
    const std::int64_t nextMidnight = midnight + secondsPerDay;
    if (zone().offsetAt(midnight) == offset && hasOneOffset(midnight, nextMidnight))
        return rangeOf(midnight, nextMidnight);
    const std::int64_t bucket = floorDivided(seconds, localBucket);
    if (!formattedLocalDay(seconds, bucket).holdsForBucket) return rangeOf(seconds, seconds + 1);
    return rangeOf(bucket * localBucket, (bucket + 1) * localBucket);
}

std::string weekStartLabel(std::string_view key, Instant now) {
    const auto monday = isoWeekKeyDate(key);
    if (!monday) return std::string(key);
    return withForeignYear(monthDayText(utcDay(wholeSeconds(*monday))), *monday, now);
}

std::string cycleLabel(std::string_view startEpoch, Instant now) {
    const auto start = readDouble(startEpoch);
    if (!start || !isWithinCalendar(*start)) return std::string(startEpoch);
    return withForeignYear(monthDayText(localDayNumber(wholeSeconds(*start))), *start, now);
}

}  // namespace ledgerfern::TSDate
