#include "Foundation/UnicodeText.h"

#include <simdjson.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>

namespace ledgerfern {

namespace {

constexpr utf8proc_int32_t replacement = 0xFFFD;
constexpr utf8proc_int32_t emojiPresentation = 0xFE0F;

struct CodePoint {
    utf8proc_int32_t value;
    std::size_t length;  ///< In bytes.
};

bool isAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

/// The code point at the start of a text that isn't empty; U+FFFD of length 1 for a bad byte.
CodePoint firstCodePoint(std::string_view text) {
    CodePoint result{0, 1};
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                         static_cast<utf8proc_ssize_t>(text.size()), &result.value);
    if (length <= 0) return {replacement, 1};
    result.length = static_cast<std::size_t>(length);
    return result;
}

void append(std::string& text, utf8proc_int32_t codePoint) {
    std::array<utf8proc_uint8_t, 4> bytes{};
    const auto length = utf8proc_encode_char(codePoint, bytes.data());
    text.append(bytes.begin(), bytes.begin() + length);
}

/// The text with each code point as `map` gives it, left out where that is absent.
template <class Map>
std::string mapped(std::string_view text, Map map) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        if (const std::optional<utf8proc_int32_t> target = map(point.value)) append(result, *target);
        text.remove_prefix(point.length);
    }
    return result;
}

/// Each byte is a character.
bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return isAscii(c) && c != '\r'; });
}

/// Bytes of the first character of a text that isn't empty. The rules for clusters look at nothing before a
/// cluster's start, so each can be found by itself.
std::size_t firstCharacterLength(std::string_view text) {
    if (isAscii(text[0]) && (text.size() == 1 || isAscii(text[1]))) return text.starts_with("\r\n") ? 2 : 1;
    CodePoint last = firstCodePoint(text);
    std::size_t length = last.length;
    utf8proc_int32_t state = 0;
    while (length < text.size()) {
        const CodePoint next = firstCodePoint(text.substr(length));
        if (utf8proc_grapheme_break_stateful(last.value, next.value, &state)) break;
        length += next.length;
        last = next;
    }
    return length;
}

bool isRegionalIndicator(utf8proc_int32_t codePoint) {
    return codePoint >= 0x1F1E6 && codePoint <= 0x1F1FF;
}

std::size_t codePointWidth(utf8proc_int32_t codePoint) {
    return static_cast<std::size_t>(std::max(0, utf8proc_charwidth(codePoint)));
}

/// A character takes the columns of its widest part; two regional indicators are a flag, and a variation
/// selector may turn a sign into an emoji.
std::size_t characterWidth(std::string_view character) {
    std::size_t width = 0;
    int indicators = 0;
    while (!character.empty()) {
        const CodePoint point = firstCodePoint(character);
        indicators += isRegionalIndicator(point.value) ? 1 : 0;
        if (width > 0 && (point.value == emojiPresentation || indicators == 2)) return 2;
        width = std::max(width, codePointWidth(point.value));
        character.remove_prefix(point.length);
    }
    return width;
}

bool isWhiteSpace(utf8proc_int32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

/// Bytes of the white space at the start of the text; 0 where there is none.
std::size_t leadingWhiteSpace(std::string_view text) {
    if (text.empty()) return 0;
    const CodePoint point = firstCodePoint(text);
    return isWhiteSpace(point.value) ? point.length : 0;
}

/// The same for the end. White space takes at most three bytes, and its first byte can't lie within another
/// code point, so the text needn't be read from its start.
std::size_t trailingWhiteSpace(std::string_view text) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(3, text.size()); ++length)
        if (leadingWhiteSpace(text.substr(text.size() - length)) == length) return length;
    return 0;
}

}  // namespace

bool isValidUtf8(std::string_view bytes) {
    return simdjson::validate_utf8(bytes.data(), bytes.size());
}

std::string repairedUtf8(std::string_view bytes) {
    if (isValidUtf8(bytes)) return std::string(bytes);
    return mapped(bytes, [](utf8proc_int32_t codePoint) { return codePoint; });
}

std::size_t characterCount(std::string_view text) {
    if (isPlain(text)) return text.size();
    std::size_t count = 0;
    for (; !text.empty(); ++count)
        text.remove_prefix(firstCharacterLength(text));
    return count;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    // What follows the last of them may be part of it.
    if (count < text.size() ? isPlain(text.substr(0, count + 1)) : isPlain(text))
        return text.substr(0, count);
    std::size_t length = 0;
    for (; count > 0 && length < text.size(); --count)
        length += firstCharacterLength(text.substr(length));
    return text.substr(0, length);
}

std::string_view withoutFirstCharacters(std::string_view text, std::size_t count) {
    return text.substr(firstCharacters(text, count).size());
}

std::string_view withoutLastCharacters(std::string_view text, std::size_t count) {
    const std::size_t all = characterCount(text);
    return firstCharacters(text, all - std::min(all, count));
}

std::string_view trimmedWhiteSpace(std::string_view text) {
    while (const std::size_t length = leadingWhiteSpace(text))
        text.remove_prefix(length);
    while (const std::size_t length = trailingWhiteSpace(text))
        text.remove_suffix(length);
    return text;
}

std::string lowercased(std::string_view text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isAscii);
    std::string result(text.begin(), end);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    if (end == text.end()) return result;
    text.remove_prefix(result.size());
    return result + mapped(text, [](utf8proc_int32_t codePoint) { return utf8proc_tolower(codePoint); });
}

std::string mappedCodePoints(std::string_view text,
                             const std::function<std::optional<char32_t>(char32_t)>& map) {
    return mapped(text, [&](utf8proc_int32_t codePoint) -> std::optional<utf8proc_int32_t> {
        const auto target = map(static_cast<char32_t>(codePoint));
        return target ? std::optional(static_cast<utf8proc_int32_t>(*target)) : std::nullopt;
    });
}

bool runsRightToLeft(std::string_view text) {
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        const auto direction = utf8proc_get_property(point.value)->bidi_class;
        if (direction == UTF8PROC_BIDI_CLASS_R || direction == UTF8PROC_BIDI_CLASS_AL ||
            direction == UTF8PROC_BIDI_CLASS_AN)
            return true;
        text.remove_prefix(point.length);
    }
    return false;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const std::size_t length = firstCharacterLength(text);
        width += characterWidth(text.substr(0, length));
        text.remove_prefix(length);
    }
    return width;
}

std::string_view fittingPrefix(std::string_view text, std::size_t columns) {
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t next = firstCharacterLength(text.substr(length));
        const std::size_t width = characterWidth(text.substr(length, next));
        if (width > columns) break;
        columns -= width;
        length += next;
    }
    return text.substr(0, length);
}

}  // namespace ledgerfern
