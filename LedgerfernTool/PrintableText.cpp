#include "PrintableText.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::string_view ellipsis = "…";

struct Range {
    char32_t first;
    char32_t last;
};

/// Scripts that run from right to left: Hebrew to Arabic Extended, their presentation forms, and the blocks
/// of the supplementary plane that Unicode keeps for such scripts.
constexpr std::array<Range, 5> rightToLeft = {
    {{0x0590, 0x08FF}, {0xFB1D, 0xFDFF}, {0xFE70, 0xFEFE}, {0x10800, 0x10FFF}, {0x1E800, 0x1EFFF}}};

std::size_t sequenceLength(char first) {
    const auto byte = static_cast<unsigned char>(first);
    if (byte < 0x80) return 1;
    if (byte < 0xE0) return 2;
    return byte < 0xF0 ? 3 : 4;
}

/// The code point of a whole, valid sequence.
char32_t decoded(std::string_view sequence) {
    const auto first = static_cast<unsigned char>(sequence[0]);
    if (sequence.size() == 1) return first;
    char32_t value = first & (0x7Fu >> sequence.size());
    for (const char c : sequence.substr(1))
        value = value << 6 | (static_cast<unsigned char>(c) & 0x3Fu);
    return value;
}

/// Hands each code point of valid UTF-8 to `take`, with its bytes.
template <class Take>
void forEachCodePoint(std::string_view text, const Take& take) {
    while (!text.empty()) {
        const std::string_view sequence = text.substr(0, sequenceLength(text[0]));
        take(decoded(sequence), sequence);
        text.remove_prefix(sequence.size());
    }
}

bool isBlank(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

bool isDirectionMark(char32_t c) {
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

bool isRightToLeft(char32_t c) {
    return std::any_of(rightToLeft.begin(), rightToLeft.end(),
                       [c](const Range& range) { return c >= range.first && c <= range.last; });
}

/// The longest end of whole characters that needs at most `columns` columns.
std::string_view fittingSuffix(std::string_view text, std::size_t columns) {
    const std::size_t width = displayWidth(text);
    if (width <= columns) return text;
    text.remove_prefix(fittingPrefix(text, width - columns).size());
    // A wide character may lie across the cut.
    return displayWidth(text) > columns ? withoutFirstCharacters(text, 1) : text;
}

/// Where the line that `text` starts with ends, and where the next one starts.
struct Break {
    std::size_t end;
    std::size_t next;
};

Break lineBreak(std::string_view text, std::size_t columns) {
    const std::size_t fitting = fittingPrefix(text, columns).size();
    if (fitting == text.size()) return {fitting, fitting};
    const std::size_t blank = text.rfind(' ', fitting);
    if (blank != std::string_view::npos && blank > 0) return {blank, blank + 1};
    const std::size_t end = fitting > 0 ? fitting : firstCharacters(text, 1).size();
    return {end, end};
}

}  // namespace

std::string printable(std::string_view bytes) {
    std::string result;
    forEachCodePoint(repairedUtf8(bytes), [&](char32_t c, std::string_view sequence) {
        if (isBlank(c))
            result += ' ';
        else if (isControl(c))
            result += replacement;
        else if (!isDirectionMark(c))
            result += sequence;
    });
    return result;
}

std::string elided(std::string_view text, std::size_t columns) {
    if (displayWidth(text) <= columns) return std::string(text);
    if (columns == 0) return {};
    const std::size_t tail = (columns - 1) / 2;
    std::string result(fittingPrefix(text, columns - 1 - tail));
    result += ellipsis;
    result += fittingSuffix(text, tail);
    return result;
}

std::string isolated(std::string_view text) {
    bool needed = false;
    forEachCodePoint(text, [&](char32_t c, std::string_view) { needed = needed || isRightToLeft(c); });
    if (!needed) return std::string(text);
    return "\u2068" + std::string(text) + "\u2069";
}

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent, std::size_t hanging) {
    std::string result;
    std::size_t margin = indent;
    do {
        const Break place = lineBreak(text, width > margin ? width - margin : 1);
        result.append(margin, ' ').append(text.substr(0, place.end)).append("\n");
        text.remove_prefix(place.next);
        margin = indent + hanging;
    } while (!text.empty());
    return result;
}

}  // namespace ledgerfern
