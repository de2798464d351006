#include "Foundation/JsonDocument.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Foundation/Check.h"
#include "Foundation/JsonReader.h"

namespace {

using namespace ledgerfern;

/// Every number as it stands in the text, and every string that holds half of a surrogate pair.
void checkTexts(const JsonNode& node, std::string_view text) {
    const auto checkString = [&](std::string_view string) {
        check(
            !string.starts_with(JsonNode::verbatim) || text.find(string.substr(1)) != std::string_view::npos,
            "a string was changed");
    };
    if (const auto* const number = node.as<JsonNode::Number>())
        check(!number->text.empty() && text.find(number->text) != std::string_view::npos,
              "a number was changed");
    if (const auto* const string = node.as<std::string>()) checkString(*string);
    if (const auto* const items = node.as<JsonNode::Array>())
        for (const JsonNode& item : *items)
            checkTexts(item, text);
    if (const auto* const members = node.as<JsonNode::Object>())
        for (const auto& [name, value] : *members) {
            checkString(name);
            checkTexts(value, text);
        }
}

JsonNode readAgain(const std::string& text) {
    JsonErrorPlace place;
    auto document = readJsonDocument(text, place);
    check(document.has_value(), "what was written doesn't read");
    return std::move(*document);
}

/// A change in one place leaves all others as they were.
void checkChange(JsonNode document) {
    const JsonNode before = document;
    auto* const members = document.as<JsonNode::Object>();
    if (!members) return;
    (*members)["statusLine"] = {JsonNode::Object{{"command", {std::string("bash \"/a b/c\"")}}}};
    JsonNode after = readAgain(jsonText(document));
    check(after == document, "a change was lost");
    auto rest = *before.as<JsonNode::Object>();
    rest.erase("statusLine");
    after.as<JsonNode::Object>()->erase("statusLine");
    check(*after.as<JsonNode::Object>() == rest, "something else was changed");
}

}  // namespace

/// Whatever a settings file holds, it is refused with a place that it has, or comes back as it was.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    JsonErrorPlace place{0, 0};
    const auto document = readJsonDocument(text, place);
    const bool isJson = JsonReader().read(text).has_value();
    if (!document) {
        check(place.line >= 1 && place.column >= 1 && place.line + place.column <= size + 2, "no such place");
        check(!isJson, "valid JSON was refused");
        return 0;
    }
    check(isJson, "something else was taken for JSON");
    checkTexts(*document, text);
    const std::string written = jsonText(*document);
    check(readAgain(written) == *document, "another document was written");
    checkChange(*document);
    return 0;
}
