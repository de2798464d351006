#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Numbers to and from decimal text, whatever the process's locale.
namespace ledgerfern {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The whole text as a decimal integer with an optional sign; absent where it isn't one, or doesn't fit 64
/// bits.
std::optional<std::int64_t> readInteger(std::string_view text);

/// The whole text as a finite decimal number, with an optional sign, fraction and exponent; absent where it
/// isn't one, or is too large or too small for a double.
std::optional<double> readDouble(std::string_view text);

/// The shortest text that reads back as the same double, in plain or exponent notation, whichever is shorter
/// (plain where both are equally short). The value must be finite.
std::string shortestText(double value);

/// The shortest digits that read back as the same double, with one before the point, and the exponent:
/// "1.5e+20". The value must be finite.
std::string shortestScientificText(double value);

/// The shortest digits that read back as the same double, in plain notation. The value must be finite.
std::string shortestPlainText(double value);

/// What printf writes for "%.Nf" in the C locale. The value must be finite.
std::string fixedText(double value, int decimals);

}  // namespace ledgerfern
