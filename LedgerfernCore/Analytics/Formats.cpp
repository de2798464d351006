#include "Analytics/Formats.h"

#include <cmath>

#include "Foundation/Arithmetic.h"
#include "Foundation/Numbers.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

constexpr const char* noValue = "—";

std::string twoDigits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

}  // namespace

std::string fmtTokens(std::int64_t n) {
    const auto count = static_cast<double>(n);
    if (n >= 1'000'000'000 || n <= -1'000'000'000) return fixedText(count / 1e9, 2) + "B";
    if (n >= 1'000'000 || n <= -1'000'000) return fixedText(count / 1e6, 1) + "M";
    if (n >= 1000 || n <= -1000) return fixedText(count / 1000, 1) + "K";
    return std::to_string(n);
}

std::string fmtPercent(double percent) {
    const auto whole = rounded(percent);
    return whole ? std::to_string(*whole) + "%" : noValue;
}

std::string fmtLocalTime(Instant instant) {
    if (!TSDate::isWithinCalendar(instant)) return noValue;
    const auto seconds = static_cast<std::int64_t>(std::floor(instant)) + TSDate::localOffset(instant);
    const std::int64_t minuteOfDay = (seconds % 86400 + 86400) % 86400 / 60;
    return TSDate::localDayKey(instant) + " " + twoDigits(minuteOfDay / 60) + ":" +
           twoDigits(minuteOfDay % 60);
}

}  // namespace ledgerfern
