#include "UsageRecords/TSDate.h"

#include <array>
#include <bit>
#include <chrono>
#include <cstring>

#include "Foundation/Numbers.h"
#include "Foundation/Pieces.h"
#include "UsageRecords/CivilDate.h"

// Nearly every timestamp is "2026-03-01T10:20:30.123Z". That form is read at fixed places first; any other
// goes through the reader for all forms. Both end in the same arithmetic, so they agree to the last bit.

namespace ledgerfern::TSDate {

namespace {

/// The value of the digits behind the point, up to the first character that isn't one.
double fractionOf(std::string_view digits) {
    double fraction = 0.0;
    double place = 0.1;
    for (const char c : digits) {
        if (!isDigit(c)) break;
        // Two statements: fused into one operation, the result would differ from machine to machine.
        const double part = (c - '0') * place;
        fraction += part;
        place *= 0.1;
    }
    return fraction;
}

std::optional<Instant> assembled(double seconds, double fraction, double offset) {
    const Instant instant = seconds + fraction - offset;
    if (!isWithinCalendar(instant)) return std::nullopt;
    return instant;
}

/// How eight characters look: "0" stands for a digit, anything else for itself.
struct Form {
    using Characters = std::array<std::uint8_t, 8>;

    explicit constexpr Form(std::string_view text) {
        Characters shape{};
        Characters room{};
        for (std::size_t i = 0; i < shape.size(); ++i) {
            shape[i] = static_cast<std::uint8_t>(text[i]);
            room[i] = text[i] == '0' ? 0x7F - 9 : 0x7F;
        }
        characters = std::bit_cast<std::uint64_t>(shape);
        roomAbove = std::bit_cast<std::uint64_t>(room);
    }

    /// The values of the digits, at their places; absent where a character isn't as it should be. All eight
    /// are asked at once: a difference that is too large comes to have its byte's highest bit.
    std::optional<Characters> digits(const char* text) const {
        constexpr std::uint64_t highestBits = 0x8080808080808080;
        std::uint64_t differences = 0;
        std::memcpy(&differences, text, sizeof differences);
        differences ^= characters;
        if (((differences + roomAbove) | differences) & highestBits) return std::nullopt;
        return std::bit_cast<Characters>(differences);
    }

    std::uint64_t characters = 0;
    std::uint64_t roomAbove = 0;  ///< What can be added to each difference without reaching the highest bit.
};

std::optional<double> secondsOfUsualForm(std::string_view text) {
    static constexpr Form yearAndMonth("0000-00-");
    static constexpr Form dayToMinute("00T00:00");
    static constexpr Form second("00:00:00");  // with hour and minute once more
    const auto date = yearAndMonth.digits(text.data());
    const auto time = dayToMinute.digits(text.data() + 8);
    const auto end = second.digits(text.data() + 11);
    if (!date || !time || !end) return std::nullopt;
    const auto two = [](const Form::Characters& digits, std::size_t at) {
        return digits[at] * 10 + digits[at + 1];
    };
    const int month = two(*date, 5);
    if (month < 1 || month > 12) return std::nullopt;

    const std::chrono::year year{two(*date, 0) * 100 + two(*date, 2)};
    const std::chrono::month_day first{std::chrono::month{static_cast<unsigned>(month)}, std::chrono::day{1}};
    const std::chrono::sys_days firstOfMonth{year / first};
    const std::int64_t days = firstOfMonth.time_since_epoch().count() + (two(*time, 0) - 1);
    return static_cast<double>(days * secondsPerDay + two(*time, 3) * 3600 + two(*time, 6) * 60 +
                               two(*end, 6));
}

/// "YYYY-MM-DDTHH:MM:SSZ", with or without "." and digits before the "Z"; absent for any other form.
std::optional<Instant> parseUsualForm(std::string_view text) {
    constexpr std::size_t wholeSeconds = std::string_view("YYYY-MM-DDTHH:MM:SS").size();
    if (text.size() <= wholeSeconds || text.back() != 'Z') return std::nullopt;
    const std::string_view behind = text.substr(wholeSeconds, text.size() - wholeSeconds - 1);
    if (!behind.empty() && behind.front() != '.') return std::nullopt;
    const auto seconds = secondsOfUsualForm(text);
    if (!seconds) return std::nullopt;
    return assembled(*seconds, behind.empty() ? 0.0 : fractionOf(behind.substr(1)), 0.0);
}

/// The seconds of "HH:MM"; 0 for anything else.
WideInteger offsetOf(std::string_view text) {
    const Pieces<2> pieces(text, ':');
    if (pieces.count != 2) return 0;
    const auto hours = readInteger(pieces.kept[0]);
    const auto minutes = readInteger(pieces.kept[1]);
    if (!hours || !minutes) return 0;
    return WideInteger{*hours} * 3600 + WideInteger{*minutes} * 60;
}

struct LocalText {
    std::string_view text;
    WideInteger offset = 0;
};

/// Splits the zone from the end of a timestamp. A "-" offset is none: it stays in the text, where it spoils
/// the seconds.
LocalText withoutZone(std::string_view text) {
    if (text.ends_with('Z') || text.ends_with('z')) return {text.substr(0, text.size() - 1)};
    const std::size_t plus = text.rfind('+');
    if (plus == std::string_view::npos) return {text};
    return {text.substr(0, plus), offsetOf(text.substr(plus + 1))};
}

/// The seconds since the epoch that a date and a time without fraction name.
std::optional<WideInteger> secondsOf(std::string_view date, std::string_view time) {
    const Pieces<3> datePieces(date, '-');
    const Pieces<3> timePieces(time, ':');
    if (datePieces.count != 3 || timePieces.count < 2) return std::nullopt;
    const auto year = readInteger(datePieces.kept[0]);
    const auto month = readInteger(datePieces.kept[1]);
    const auto day = readInteger(datePieces.kept[2]);
    const auto hour = readInteger(timePieces.kept[0]);
    const auto minute = readInteger(timePieces.kept[1]);
    if (!year || !month || !day || !hour || !minute) return std::nullopt;
    const std::int64_t second = timePieces.count == 2 ? 0 : readInteger(timePieces.kept[2]).value_or(0);
    return dayNumber(*year, *month, *day) * secondsPerDay + WideInteger{*hour} * 3600 +
           WideInteger{*minute} * 60 + second;
}

std::optional<Instant> parseAnyForm(std::string_view text) {
    const LocalText local = withoutZone(text);
    std::size_t separator = local.text.find('T');
    if (separator == std::string_view::npos) separator = local.text.find(' ');
    if (separator == std::string_view::npos) return std::nullopt;
    std::string_view time = local.text.substr(separator + 1);
    double fraction = 0.0;
    if (const std::size_t point = time.find('.'); point != std::string_view::npos) {
        fraction = fractionOf(time.substr(point + 1));
        time = time.substr(0, point);
    }
    const auto seconds = secondsOf(local.text.substr(0, separator), time);
    if (!seconds) return std::nullopt;
    return assembled(static_cast<double>(*seconds), fraction, static_cast<double>(local.offset));
}

}  // namespace

std::optional<Instant> parse(std::optional<std::string_view> text) {
    if (!text) return std::nullopt;
    if (const auto instant = parseUsualForm(*text)) return instant;
    return parseAnyForm(*text);
}

}  // namespace ledgerfern::TSDate
