#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ledgerfern {

/// A JSON value of a document that is to be changed in places and written back: somebody else's settings.
/// Every number keeps its text, so that none comes back as another: 1.0 stays 1.0, and 10^30 what it was.
///
/// Strings and keys are UTF-8. One with half of a surrogate pair, which UTF-8 can't hold, keeps its text too:
/// it is what stands in the document, quotes included, behind a byte that UTF-8 doesn't have, `verbatim`.
struct JsonNode {
    static constexpr char verbatim = '\xFF';

    struct Number {
        std::string text;

        bool operator==(const Number&) const = default;
    };
    using Array = std::vector<JsonNode>;
    using Object = std::map<std::string, JsonNode>;  // of a key that occurs twice, the last value

    std::variant<std::nullptr_t, bool, Number, std::string, Array, Object> content = nullptr;

    /// Null where it is another type.
    template <class T>
    T* as() {
        return std::get_if<T>(&content);
    }
    template <class T>
    const T* as() const {
        return std::get_if<T>(&content);
    }

    bool operator==(const JsonNode&) const = default;
};

/// Where a text stops being JSON, counted from 1, the column in bytes.
struct JsonErrorPlace {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// Reads a whole JSON text (RFC 8259, valid UTF-8, no byte-order mark, at most 1,024 arrays and objects
/// inside each other). Absent where it isn't one; `place` tells where it stops being one then.
std::optional<JsonNode> readJsonDocument(std::string_view text, JsonErrorPlace& place);

/// The document as a text with two blanks a level, each object's keys in the order of their bytes, and a line
/// feed at its end.
std::string jsonText(const JsonNode& node);

}  // namespace ledgerfern
