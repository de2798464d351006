#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ledgerfern {

/// A JSON value as text without white space, put together from the inside out.
class JsonText {
public:
    JsonText(std::nullptr_t) : text_("null") {}
    JsonText(bool flag) : text_(flag ? "true" : "false") {}
    template <std::integral Integer>
    JsonText(Integer number) : text_(std::to_string(number)) {}
    JsonText(std::string_view text);
    JsonText(const char* text) : JsonText(std::string_view(text)) {}
    JsonText(const std::string& text) : JsonText(std::string_view(text)) {}

    using Member = std::pair<std::string_view, JsonText>;
    /// The members in the given order; each key must be there once.
    static JsonText object(const std::vector<Member>& members);
    static JsonText array(std::initializer_list<JsonText> elements);
    /// `tenths` divided by ten, with one decimal.
    static JsonText decimal(std::int64_t tenths);

    const std::string& text() const { return text_; }

private:
    JsonText() = default;

    std::string text_;
};

}  // namespace ledgerfern
