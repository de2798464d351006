// The fast JSON reader refuses some texts that are valid here. Their trouble lies in single tokens, which are
// found without parsing: a pass that only knows strings from the rest replaces each such token by one that
// reads as it should, and leaves everything else. A replacement is a token of the same kind of place (null or
// a number for a number, an escape for an escape), so that an invalid text stays invalid.

#include <algorithm>

#include "Foundation/JsonReader.h"
#include "Foundation/Numbers.h"

namespace ledgerfern {

namespace {

enum class NumberShape { none, integer, decimal };

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

/// What to write for a number; absent where it may stand as it is.
std::optional<std::string> replacementFor(std::string_view token) {
    const NumberShape shape = shapeOf(token);
    if (shape == NumberShape::none || (shape == NumberShape::integer && readInteger(token)))
        return std::nullopt;
    const auto value = readDouble(token);
    if (!value && isTooLarge(token)) return "null";
    if (shape == NumberShape::decimal) return std::nullopt;
    // The shortest text may be an integer beyond 64 bits once more.
    const std::string text = shortestText(*value);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
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

class Normaliser {
public:
    Normaliser(std::string_view text, std::string& result) : text_(text), result_(result) {}

    bool run() {
        const auto isStart = [](char c) { return c == '"' || c == '-' || isDigit(c); };
        std::size_t at = 0;
        while ((at = findFrom(text_, at, isStart)) < text_.size())
            at = text_[at] == '"' ? string(at + 1) : number(at);
        if (copied_ == 0) return false;
        result_ += text_.substr(copied_);
        return true;
    }

private:
    // Each of these is given the place of a token, and returns the place behind it.

    std::size_t number(std::size_t at) {
        const std::size_t end = behindNumber(text_, at);
        if (const auto replacement = replacementFor(text_.substr(at, end - at)))
            replace(at, end, *replacement);
        return end;
    }

    std::size_t string(std::size_t at) {
        const auto isEvent = [](char c) { return c == '"' || c == '\\'; };
        while ((at = findFrom(text_, at, isEvent)) < text_.size()) {
            if (text_[at] == '"') return at + 1;
            at = at + 1 < text_.size() && text_[at + 1] == 'u' ? unicodeEscape(at) : at + 2;
        }
        return at;
    }

    /// Both halves of a surrogate pair at once.
    std::size_t unicodeEscape(std::size_t at) {
        constexpr unsigned surrogateClass = 0xFC00;
        constexpr unsigned high = 0xD800;
        constexpr unsigned low = 0xDC00;
        const unsigned kind = escapedUnit(text_, at).value_or(0) & surrogateClass;
        if (kind != high && kind != low) return at + 2;
        if (kind == high && (escapedUnit(text_, at + 6).value_or(0) & surrogateClass) == low) return at + 12;
        replace(at, at + 6, "\\ufffd");
        return at + 6;
    }

    void replace(std::size_t start, std::size_t end, std::string_view replacement) {
        // A fresh string takes what is asked for; one that grows would take double.
        if (copied_ == 0) {
            if (result_.capacity() < text_.size() + JsonReader::padding) result_ = std::string();
            result_.reserve(text_.size() + JsonReader::padding);
        }
        result_ += text_.substr(copied_, start - copied_);
        result_ += replacement;
        copied_ = end;
    }

    const std::string_view text_;
    std::string& result_;
    std::size_t copied_ = 0;  // all before this place is in the result, mended
};

}  // namespace

bool normaliseJson(std::string_view text, std::string& result) {
    result.clear();
    return Normaliser(text, result).run();
}

}  // namespace ledgerfern
