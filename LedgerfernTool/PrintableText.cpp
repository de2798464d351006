#include "PrintableText.h"

#include <optional>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr std::string_view ellipsis = "…";

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
    return mappedCodePoints(bytes, [](char32_t c) -> std::optional<char32_t> {
        if (isBlank(c)) return U' ';
        if (isControl(c)) return replacement;
        if (isDirectionMark(c)) return std::nullopt;
        return c;
    });
}

std::string printableName(std::string_view bytes) {
    std::string name = printable(bytes);
    return displayWidth(trimmedWhiteSpace(name)) > 0 ? name : "—";
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
    if (!runsRightToLeft(text)) return std::string(text);
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
