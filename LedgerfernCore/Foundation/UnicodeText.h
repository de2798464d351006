#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Text as people see it: characters are user-perceived ones (extended grapheme clusters). Texts are UTF-8;
/// where one isn't, each bad byte counts as U+FFFD.
namespace ledgerfern {

/// The text with each byte that doesn't belong to a valid UTF-8 sequence replaced by U+FFFD. Overlong forms,
/// surrogates and code points past U+10FFFF are invalid.
std::string repairedUtf8(std::string_view bytes);
bool isValidUtf8(std::string_view bytes);

/// How many user-perceived characters the text has.
std::size_t characterCount(std::string_view text);
/// The text's first `count` characters, or all of it where it has fewer. A view of the text's own bytes.
std::string_view firstCharacters(std::string_view text, std::size_t count);
/// The text without the first `count` characters.
std::string_view withoutFirstCharacters(std::string_view text, std::size_t count);
/// The text without its last `count` characters.
std::string_view withoutLastCharacters(std::string_view text, std::size_t count);

/// The text without the characters of Unicode's White_Space at both ends.
std::string_view trimmedWhiteSpace(std::string_view text);

/// Unicode's simple lower-case mapping, code point by code point; no locale.
std::string lowercased(std::string_view text);

/// The text with each code point replaced by the one that `map` gives for it; absent leaves it out.
std::string mappedCodePoints(std::string_view text,
                             const std::function<std::optional<char32_t>(char32_t)>& map);

/// True where a part of the text runs from right to left: a letter or digit of such a script.
bool runsRightToLeft(std::string_view text);

/// Columns that a terminal needs: 2 for wide characters and emoji, 0 for combining and control ones.
std::size_t displayWidth(std::string_view text);
/// The longest beginning of whole characters that needs at most `columns` columns.
std::string_view fittingPrefix(std::string_view text, std::size_t columns);

}  // namespace ledgerfern
