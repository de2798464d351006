#include "Parsing/FirstText.h"

#include "Foundation/UnicodeText.h"

namespace ledgerfern::RolloutParser {

namespace {

constexpr std::size_t firstMessageCharacters = 90;

/// The texts of an array of objects, joined with one blank; absent where an element isn't an object.
std::optional<std::string> joinedTexts(const JsonArray& elements) {
    std::string joined;
    bool first = true;
    for (const JsonValue element : elements) {
        const auto object = asObject(element);
        if (!object) return std::nullopt;
        const auto text = asString(member(*object, "text"));
        if (!text) continue;
        if (!first) joined += ' ';
        joined += *text;
        first = false;
    }
    return joined;
}

}  // namespace

std::optional<std::string> firstText(const OptionalJson& content) {
    std::optional<std::string> joined;
    std::optional<std::string_view> text = asString(content);
    if (!text) {
        const auto elements = asArray(content);
        if (elements) joined = joinedTexts(*elements);
        if (!joined) return std::nullopt;
        text = *joined;
    }
    const std::string_view trimmed = trimmedWhiteSpace(*text);
    if (trimmed.empty()) return std::nullopt;
    return std::string(firstCharacters(trimmed, firstMessageCharacters));
}

}  // namespace ledgerfern::RolloutParser
