#include <xlocale.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "Foundation/Check.h"
#include "Foundation/Numbers.h"

// The standard library's own conversions came to this platform late, so the C library's are used, in the C
// locale.

namespace ledgerfern {

namespace {

constexpr int mostDigits = 17;  // of any double's shortest text

locale_t cLocale() {
    static const locale_t made = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return made;
}

std::string formatted(const char* format, int precision, double value) {
    check(std::isfinite(value), "a number without a decimal text");
    std::array<char, 1200> buffer;
    const int length = ::snprintf_l(buffer.data(), buffer.size(), cLocale(), format, precision, value);
    return {buffer.data(), static_cast<std::size_t>(length)};
}

bool isDecimal(std::string_view text) {
    bool hasDigit = false;
    for (const char c : text) {
        hasDigit = hasDigit || isDigit(c);
        if (std::string_view("0123456789.eE+-").find(c) == std::string_view::npos) return false;
    }
    return hasDigit;
}

}  // namespace

std::optional<double> readDouble(std::string_view text) {
    if (!isDecimal(text)) return std::nullopt;
    const std::string whole(text);
    char* end = nullptr;
    const double value = ::strtod_l(whole.c_str(), &end, cLocale());
    if (end != whole.c_str() + whole.size() || !std::isfinite(value)) return std::nullopt;
    // Too small a number is none either, and only zero may read as zero.
    const bool hasValue =
        whole.substr(0, whole.find_first_of("eE")).find_first_of("123456789") != std::string::npos;
    if (hasValue && std::fpclassify(value) == FP_ZERO) return std::nullopt;
    return value;
}

std::string shortestScientificText(double value) {
    for (int digits = 1; digits < mostDigits; ++digits) {
        std::string text = formatted("%.*e", digits - 1, value);
        if (::strtod_l(text.c_str(), nullptr, cLocale()) == value) return text;
    }
    return formatted("%.*e", mostDigits - 1, value);
}

std::string shortestText(double value) {
    const std::string scientific = shortestScientificText(value);
    // From 2^53 on doubles are whole numbers, which the standard library writes with all their digits.
    const std::string plain = std::abs(value) < 0x1p53 ? shortestPlainText(value) : fixedText(value, 0);
    return plain.size() <= scientific.size() ? plain : scientific;
}

std::string fixedText(double value, int decimals) {
    return formatted("%.*f", decimals, value);
}

}  // namespace ledgerfern
