#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "Foundation/Check.h"
#include "Foundation/Numbers.h"

namespace ledgerfern {

namespace {

// Large enough for every double in plain notation: 309 digits, or 1074 decimals.
using Buffer = std::array<char, 1200>;

std::string written(const Buffer& buffer, std::to_chars_result result) {
    check(result.ec == std::errc{}, "a number's text is longer than any double's");
    const char* const end = result.ptr;
    return {buffer.data(), end};
}

}  // namespace

std::optional<double> readDouble(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    // from_chars reads "inf" and "nan" too, which are no numbers here.
    const bool decimal = std::all_of(text.begin(), text.end(), [](char c) {
        return isDigit(c) || c == '.' || c == 'e' || c == 'E' || c == '+' || c == '-';
    });
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || !decimal) return std::nullopt;
    return value;
}

std::string shortestText(double value) {
    check(std::isfinite(value), "a number without a decimal text");
    Buffer buffer;
    return written(buffer, std::to_chars(buffer.data(), buffer.data() + buffer.size(), value));
}

std::string shortestScientificText(double value) {
    check(std::isfinite(value), "a number without a decimal text");
    Buffer buffer;
    return written(buffer, std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                         std::chars_format::scientific));
}

std::string fixedText(double value, int decimals) {
    check(std::isfinite(value), "a number without a decimal text");
    Buffer buffer;
    return written(buffer, std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                         std::chars_format::fixed, decimals));
}

}  // namespace ledgerfern
