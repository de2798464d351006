#pragma once

#include <simdjson.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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

/// The value as what it is asked for; absent where it is missing or of another type.
std::optional<JsonObject> asObject(const OptionalJson& value);
std::optional<JsonArray> asArray(const OptionalJson& value);
/// The text is UTF-8 and lives as long as the value.
std::optional<std::string_view> asString(const OptionalJson& value);
/// A number cut toward zero, a Boolean as 1 or 0. Absent too where the result doesn't fit 64 bits.
std::optional<std::int64_t> asInteger(const OptionalJson& value);
/// A number, a Boolean as 1 or 0.
std::optional<double> asDouble(const OptionalJson& value);

/// The values of the named members, in the order of the names, in one pass over the object. Of a key that
/// occurs twice the last value counts.
template <class... Names>
std::array<OptionalJson, sizeof...(Names)> members(const JsonObject& object, Names... names) {
    const std::array<std::string_view, sizeof...(Names)> wanted{std::string_view(names)...};
    std::array<OptionalJson, sizeof...(Names)> found;
    for (const auto field : object) {
        const std::string_view key = field.key;
        for (std::size_t i = 0; i < wanted.size(); ++i)
            if (key == wanted[i]) found[i] = field.value;
    }
    return found;
}

/// The value of one member; the last where the key occurs twice.
inline OptionalJson member(const JsonObject& object, std::string_view name) {
    return members(object, name)[0];
}

}  // namespace ledgerfern
