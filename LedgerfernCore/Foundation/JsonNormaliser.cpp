// The fast JSON reader refuses some texts that are valid here. Their trouble lies in single tokens, which are
// found without parsing: a pass that only knows strings from the rest replaces each such token by one that
// reads as it should, and copies everything else. A replacement is a token of the same kind of place (null or
// a number for a number, an escape for an escape), so that an invalid text stays invalid.

#include <algorithm>

#include "Foundation/JsonReader.h"
#include "Foundation/Numbers.h"

namespace ledgerfern {

namespace {

enum class NumberShape { none, integer, decimal };

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isExponentMark(char c) {
    return c == 'e' || c == 'E';
}

std::size_t behindDigits(std::string_view text, std::size_t at) {
    while (at < text.size() && isDigit(text[at]))
        ++at;
    return at;
}

NumberShape shapeOf(std::string_view token) {
    std::size_t at = token.starts_with('-') ? 1 : 0;
    std::size_t end = behindDigits(token, at);
    if (end == at || (token[at] == '0' && end > at + 1)) return NumberShape::none;
    if (end == token.size()) return NumberShape::integer;
    at = end;
    if (token[at] == '.') {
        end = behindDigits(token, at + 1);
        if (end == at + 1) return NumberShape::none;
        at = end;
    }
    if (at < token.size() && isExponentMark(token[at])) {
        ++at;
        if (at < token.size() && (token[at] == '+' || token[at] == '-')) ++at;
        end = behindDigits(token, at);
        if (end == at) return NumberShape::none;
        at = end;
    }
    return at == token.size() ? NumberShape::decimal : NumberShape::none;
}

/// The exponent as written; one of absurd size is cut to a size that still outweighs any mantissa.
std::int64_t writtenExponent(std::string_view token) {
    const auto mark = std::find_if(token.begin(), token.end(), isExponentMark);
    if (mark == token.end()) return 0;
    constexpr std::int64_t limit = std::int64_t{1} << 60;
    const std::string_view exponent(mark + 1, token.end());
    const auto value = readInteger(exponent);
    if (!value) return exponent.starts_with('-') ? -limit : limit;
    return std::clamp(*value, -limit, limit);
}

/// Of a number that no double can hold: whether it is too large, not too small.
bool isTooLarge(std::string_view token) {
    const std::size_t start = token.starts_with('-') ? 1 : 0;
    const std::size_t point = behindDigits(token, start);
    // The power of ten of the first digit that isn't 0.
    auto power = static_cast<std::int64_t>(point - start) - 1;
    if (token[start] == '0') {
        const std::size_t first = token.find_first_not_of('0', std::min(point + 1, token.size()));
        power = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(std::min(first, token.size()));
    }
    return power + writtenExponent(token) > 0;
}

void appendNumber(std::string_view token, std::string& result) {
    const NumberShape shape = shapeOf(token);
    if (shape == NumberShape::none || (shape == NumberShape::integer && readInteger(token))) {
        result += token;
        return;
    }
    const auto value = readDouble(token);
    if (!value && isTooLarge(token)) {
        result += "null";
    } else if (shape == NumberShape::integer) {
        // The shortest text may be an integer beyond 64 bits once more.
        const std::string text = shortestText(*value);
        result += text;
        if (text.find_first_of(".e") == std::string::npos) result += ".0";
    } else {
        result += token;
    }
}

/// The first place from `at` on that holds a character of the sort, or the text's end.
template <class Sort>
std::size_t findFrom(std::string_view text, std::size_t at, Sort isOfSort) {
    while (at < text.size() && !isOfSort(text[at]))
        ++at;
    return at;
}

std::size_t behindNumber(std::string_view text, std::size_t at) {
    return findFrom(text, at, [](char c) {
        return !isDigit(c) && !isExponentMark(c) && c != '-' && c != '+' && c != '.';
    });
}

/// The code unit of the "\uXXXX" at `at`; absent where there is none.
std::optional<unsigned> escapedUnit(std::string_view text, std::size_t at) {
    if (text.size() - at < 6 || text[at] != '\\' || text[at + 1] != 'u') return std::nullopt;
    unsigned unit = 0;
    for (const char c : text.substr(at + 2, 4)) {
        const char lower = static_cast<char>(c | 0x20);
        if (isDigit(c))
            unit = unit * 16 + static_cast<unsigned>(c - '0');
        else if (lower >= 'a' && lower <= 'f')
            unit = unit * 16 + static_cast<unsigned>(lower - 'a' + 10);
        else
            return std::nullopt;
    }
    return unit;
}

/// Copies the escape at `at`, both halves of a surrogate pair at once, and returns the place behind it.
std::size_t appendEscape(std::string_view text, std::size_t at, std::string& result) {
    constexpr unsigned surrogateClass = 0xFC00;
    constexpr unsigned high = 0xD800;
    constexpr unsigned low = 0xDC00;
    const unsigned kind = escapedUnit(text, at).value_or(0) & surrogateClass;
    std::size_t length = 2;
    if (kind == high && (escapedUnit(text, at + 6).value_or(0) & surrogateClass) == low) {
        length = 12;
    } else if (kind == high || kind == low) {
        result += "\\ufffd";
        return at + 6;
    }
    result += text.substr(at, length);
    return std::min(at + length, text.size());
}

/// Copies the string whose opening quote is at `at`, and returns the place behind it.
std::size_t appendString(std::string_view text, std::size_t at, std::string& result) {
    result += text[at++];
    while (at < text.size()) {
        const std::size_t end = findFrom(text, at, [](char c) { return c == '"' || c == '\\'; });
        result += text.substr(at, end - at);
        if (end == text.size()) return end;
        if (text[end] == '"') {
            result += '"';
            return end + 1;
        }
        at = appendEscape(text, end, result);
    }
    return at;
}

}  // namespace

void normaliseJson(std::string_view text, std::string& result) {
    result.clear();
    if (result.capacity() < text.size() + JsonReader::padding) {
        // A fresh string takes what is asked for; one that grows would take double.
        result = std::string();
        result.reserve(text.size() + JsonReader::padding);
    }
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t token =
            findFrom(text, at, [](char c) { return c == '"' || c == '-' || isDigit(c); });
        result += text.substr(at, token - at);
        if (token == text.size()) break;
        if (text[token] == '"') {
            at = appendString(text, token, result);
        } else {
            at = behindNumber(text, token);
            appendNumber(text.substr(token, at - token), result);
        }
    }
}

}  // namespace ledgerfern
