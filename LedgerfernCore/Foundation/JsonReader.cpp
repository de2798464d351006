#include "Foundation/JsonReader.h"

#include <algorithm>

#include "Foundation/Arithmetic.h"

namespace ledgerfern {

namespace {

constexpr std::size_t maxNesting = 1024;
// The fast reader's limit counts the innermost array or object unless it is empty, and must not be reached.
// So the lower limit never takes more than `maxNesting`, but refuses some texts of just that depth; the upper
// one takes all of them, and some that are deeper.
constexpr std::size_t lowerDepthLimit = maxNesting;
constexpr std::size_t upperDepthLimit = maxNesting + 1;

constexpr std::size_t capacityStep = std::size_t{64} << 10;
constexpr std::size_t keptCapacity = std::size_t{256} << 10;

/// How many arrays and objects a valid text has inside each other.
std::size_t nesting(std::string_view text) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString && c == '\\') {
            ++i;
        } else if (c == '"') {
            inString = !inString;
        } else if (!inString && (c == '[' || c == '{')) {
            deepest = std::max(deepest, ++depth);
        } else if (!inString && (c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return deepest;
}

bool isLackOfMemory(simdjson::error_code error) {
    return error == simdjson::MEMALLOC || error == simdjson::CAPACITY;
}

}  // namespace

OptionalJson JsonReader::read(std::string_view text) {
    return readOrMend(text, true);
}

OptionalJson JsonReader::readPadded(std::string_view text) {
    return readOrMend(text, false);
}

OptionalJson JsonReader::readOrMend(std::string_view text, bool copy) {
    // A byte-order mark, which not every version refuses; nothing else that is valid begins like it.
    if (!text.empty() && text.front() == '\xEF') return std::nullopt;
    JsonValue value;
    const auto error = parse(text, copy, value);
    if (error == simdjson::SUCCESS) [[likely]]
        return value;
    if (isLackOfMemory(error) || !normaliseJson(text, normalised_)) return std::nullopt;
    normalised_.reserve(normalised_.size() + padding);
    if (parse(normalised_, false, value) != simdjson::SUCCESS) return std::nullopt;
    return value;
}

simdjson::error_code JsonReader::parse(std::string_view text, bool copy, JsonValue& value) {
    const auto error = parseWithin(lowerDepthLimit, text, copy, value);
    if (error != simdjson::DEPTH_ERROR || nesting(text) > maxNesting) return error;
    return parseWithin(upperDepthLimit, text, copy, value);
}

simdjson::error_code JsonReader::parseWithin(std::size_t depthLimit, std::string_view text, bool copy,
                                             JsonValue& value) {
    if (text.size() > UINT32_MAX - capacityStep) return simdjson::CAPACITY;
    if (text.size() > parser_.capacity() || depthLimit != parser_.max_depth()) [[unlikely]] {
        const std::size_t needed = (text.size() / capacityStep + 1) * capacityStep;
        const std::size_t capacity = std::max(needed, parser_.capacity());
        if (const auto error = parser_.allocate(capacity, depthLimit)) return error;
        if (document_.capacity() < capacity)
            if (const auto error = document_.allocate(capacity)) return error;
    }
    return parser_.parse_into_document(document_, text.data(), text.size(), copy).get(value);
}

void JsonReader::releaseMemory() {
    if (parser_.capacity() > keptCapacity || document_.capacity() > keptCapacity) {
        parser_ = simdjson::dom::parser();
        document_ = simdjson::dom::document();
    }
    if (normalised_.capacity() > keptCapacity) normalised_ = std::string();
}

std::optional<std::int64_t> detail::truncatedNumber(const JsonValue& value) {
    switch (value.type()) {
        case simdjson::dom::element_type::DOUBLE:
            return truncated(*get<double>(value));
        case simdjson::dom::element_type::BOOL:
            return *get<bool>(value) ? 1 : 0;
        default:
            return std::nullopt;
    }
}

std::optional<double> asDouble(const OptionalJson& value) {
    if (const auto flag = detail::get<bool>(value)) return *flag ? 1.0 : 0.0;
    // Converts integers too, signed and unsigned.
    return detail::get<double>(value);
}

}  // namespace ledgerfern
