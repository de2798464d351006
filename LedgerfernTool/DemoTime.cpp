#include "DemoTime.h"

#include <algorithm>

#include "UsageRecords/CivilDate.h"

namespace ledgerfern::DemoTime {

namespace {

std::string padded(std::int64_t number, std::size_t width) {
    std::string digits = std::to_string(number);
    return std::string(width - std::min(width, digits.size()), '0') + digits;
}

std::string date(Milliseconds instant, const char* separator) {
    const CivilDate date = civilDate(floorDivided(instant, day));
    return padded(date.year, 4) + separator + padded(date.month, 2) + separator + padded(date.day, 2);
}

std::string clock(Milliseconds instant, const char* separator) {
    const Milliseconds time = instant % day;
    return padded(time / hour, 2) + separator + padded(time % hour / minute, 2) + separator +
           padded(time % minute / second, 2);
}

}  // namespace

std::string stamp(Milliseconds instant) {
    return date(instant, "-") + "T" + clock(instant, ":") + "." + padded(instant % second, 3) + "Z";
}

std::string fileStamp(Milliseconds instant) {
    return date(instant, "-") + "T" + clock(instant, "-");
}

std::string dayFolder(Milliseconds instant) {
    return date(instant, "/");
}

int weekdayOf(Milliseconds instant) {
    return weekday(floorDivided(instant, day));
}

}  // namespace ledgerfern::DemoTime
