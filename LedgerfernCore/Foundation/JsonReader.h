#pragma once

#include <simdjson.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Literal.h"

namespace ledgerfern {

/// A parsed JSON value. It lives in its `JsonReader`, until that reads the next text.
using JsonValue = simdjson::dom::element;
using JsonObject = simdjson::dom::object;
using JsonArray = simdjson::dom::array;
using OptionalJson = std::optional<JsonValue>;

/// Reads JSON texts (RFC 8259), one at a time, into memory that is used again for the next.
///
/// The whole text is validated: a byte-order mark, invalid UTF-8, a control character in a string, anything
/// but white space behind the value, or more than 1,024 arrays and objects inside each other make it invalid.
/// Valid, and read so: a lone surrogate escape is U+FFFD; an integer beyond 64 bits is the nearest double; a
/// number beyond a double's range is null, since it counts as missing wherever a number is read.
///
/// The fast reader behind it refuses these valid texts, and nesting at the limit, so a text that it refuses
/// is brought into a form of the same meaning that it takes (`normaliseJson`), and is read once more.
///
/// Its memory is about 14 times the longest text, in steps of 64 KiB rather than by doubling; what a text
/// doesn't fill is only reserved. A text of 4 GiB or more, or one for which memory is wanting, is absent too.
class JsonReader {
public:
    /// Bytes that must be readable behind a text given to `readPadded`; what they hold is of no consequence.
    static constexpr std::size_t padding = simdjson::SIMDJSON_PADDING;

    /// Absent where the text isn't valid JSON.
    OptionalJson read(std::string_view text);
    /// The same for a text with `padding` readable bytes behind it, which isn't copied.
    OptionalJson readPadded(std::string_view text);

    /// Gives back the memory that a long text has left behind.
    void releaseMemory();

private:
    OptionalJson readOrMend(std::string_view text, bool copy);
    simdjson::error_code parse(std::string_view text, bool copy, JsonValue& value);
    simdjson::error_code parseWithin(std::size_t depthLimit, std::string_view text, bool copy,
                                     JsonValue& value);

    simdjson::dom::parser parser_;
    simdjson::dom::document document_;
    std::string normalised_;
};

/// Makes `result` the text with each lone surrogate escape, each integer beyond 64 bits and each number
/// beyond a double's range replaced by what it reads as. Texts that aren't valid JSON stay invalid. False,
/// and an empty result, where there is nothing to replace.
bool normaliseJson(std::string_view text, std::string& result);

namespace detail {

/// Asked for several times a line, and short: worth being inside of whoever asks.
template <class T>
[[gnu::always_inline]] inline std::optional<T> get(const OptionalJson& value) {
    T result;
    if (!value || value->get(result) != simdjson::SUCCESS) return std::nullopt;
    return result;
}

/// Of a number that isn't a 64-bit integer, and of a Boolean.
std::optional<std::int64_t> truncatedNumber(const JsonValue& value);

template <std::size_t size>
bool isKey(std::string_view key, const char (&name)[size]) {
    return equals(key, name);
}
inline bool isKey(std::string_view key, std::string_view name) {
    return key == name;
}

}  // namespace detail

/// The value as what it is asked for; absent where it is missing or of another type.
inline std::optional<JsonObject> asObject(const OptionalJson& value) {
    return detail::get<JsonObject>(value);
}
inline std::optional<JsonArray> asArray(const OptionalJson& value) {
    return detail::get<JsonArray>(value);
}
/// The text is UTF-8 and lives as long as the value.
inline std::optional<std::string_view> asString(const OptionalJson& value) {
    return detail::get<std::string_view>(value);
}
/// A number cut toward zero, a Boolean as 1 or 0. Absent too where the result doesn't fit 64 bits.
inline std::optional<std::int64_t> asInteger(const OptionalJson& value) {
    if (const auto integer = detail::get<std::int64_t>(value)) return integer;
    return value ? detail::truncatedNumber(*value) : std::nullopt;
}
/// A number, a Boolean as 1 or 0.
std::optional<double> asDouble(const OptionalJson& value);

/// The values of the named members, in the order of the names, in one pass over the object. The names are
/// distinct: literals, or views of texts. Of a key that occurs twice the last value counts.
template <class... Names>
std::array<OptionalJson, sizeof...(Names)> members(const JsonObject& object, const Names&... names) {
    std::array<OptionalJson, sizeof...(Names)> found;
    for (const auto field : object) {
        std::size_t i = 0;
        const bool isWanted = ((detail::isKey(field.key, names) || (++i, false)) || ...);
        if (isWanted) found[i] = field.value;
    }
    return found;
}

/// The value of one member; the last where the key occurs twice.
template <class Name>
OptionalJson member(const JsonObject& object, const Name& name) {
    return members(object, name)[0];
}

}  // namespace ledgerfern
