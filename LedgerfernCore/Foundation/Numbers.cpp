#include "Foundation/Numbers.h"

#include <charconv>
#include <string>

namespace ledgerfern {

std::optional<std::int64_t> readInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string shortestPlainText(double value) {
    const std::string scientific = shortestScientificText(value);
    const std::size_t mark = scientific.find('e');
    const std::string sign = scientific.starts_with('-') ? "-" : "";
    std::string digits = scientific.substr(sign.size(), mark - sign.size());
    std::erase(digits, '.');
    // The point stands behind so many of the digits.
    const std::int64_t whole = readInteger(std::string_view(scientific).substr(mark + 1)).value_or(0) + 1;
    if (whole <= 0) return sign + "0." + std::string(static_cast<std::size_t>(-whole), '0') + digits;
    const auto place = static_cast<std::size_t>(whole);
    if (place >= digits.size()) return sign + digits + std::string(place - digits.size(), '0');
    return sign + digits.substr(0, place) + "." + digits.substr(place);
}

}  // namespace ledgerfern
