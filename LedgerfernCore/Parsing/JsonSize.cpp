#include "Parsing/JsonSize.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "Foundation/Check.h"
#include "Foundation/Numbers.h"
#include "Parsing/StringSize.h"

namespace ledgerfern {

namespace {

using Type = simdjson::dom::element_type;

std::int64_t length(std::string_view text) {
    return static_cast<std::int64_t>(text.size());
}

std::int64_t integerLen(std::int64_t value) {
    auto rest = static_cast<std::uint64_t>(value);
    std::int64_t digits = 1;
    if (value < 0) {
        rest = -rest;
        digits = 2;
    }
    for (; rest >= 10; rest /= 10)
        ++digits;
    return digits;
}

std::int64_t stringLen(std::string_view text) {
    return escapedUtf16Size(text) + 2;
}

std::int64_t memberLen(const simdjson::dom::key_value_pair& field) {
    return stringLen(field.key) + 1 + jsonLen(field.value);
}

std::int64_t arrayLen(const JsonArray& array) {
    std::int64_t size = 2;
    std::int64_t commas = -1;
    for (const JsonValue item : array) {
        size += jsonLen(item);
        ++commas;
    }
    return size + std::max<std::int64_t>(commas, 0);
}

/// False where no key can be there twice: each leaves a mark by its length and its first and last letter.
/// That is certain for most objects, and far quicker than to compare the keys.
bool mayRepeatKeys(const JsonObject& object) {
    std::array<std::uint64_t, 4> marks{};
    bool isMarked = false;
    for (auto field = object.begin(); field != object.end(); ++field) {
        const std::string_view key = field.key();
        std::size_t sign = key.size();
        if (!key.empty())
            sign = sign * 37 + static_cast<unsigned char>(key.front()) * 5 +
                   static_cast<unsigned char>(key.back());
        std::uint64_t& mark = marks[sign / 64 % marks.size()];
        const std::uint64_t bit = std::uint64_t{1} << sign % 64;
        isMarked = isMarked || (mark & bit) != 0;
        mark |= bit;
    }
    return isMarked;
}

/// Which of the object's fields, counted from 0, have a later one of the same key; ascending.
std::vector<std::size_t> repeatedFields(const JsonObject& object) {
    std::vector<std::pair<std::string_view, std::size_t>> fields;
    for (const auto field : object)
        fields.emplace_back(field.key, fields.size());
    std::sort(fields.begin(), fields.end());
    std::vector<std::size_t> repeated;
    for (std::size_t i = 1; i < fields.size(); ++i)
        if (fields[i].first == fields[i - 1].first) repeated.push_back(fields[i - 1].second);
    std::sort(repeated.begin(), repeated.end());
    return repeated;
}

std::int64_t lenOfDistinctKeys(const JsonObject& object) {
    std::int64_t size = 2;
    std::int64_t commas = -1;
    for (const auto field : object) {
        size += memberLen(field);
        ++commas;
    }
    return size + std::max<std::int64_t>(commas, 0);
}

std::int64_t lenOfAnyKeys(const JsonObject& object) {
    const std::vector<std::size_t> repeated = repeatedFields(object);
    std::int64_t size = 2;
    std::int64_t commas = -1;
    std::size_t index = 0;
    auto skipped = repeated.begin();
    for (const auto field : object) {
        if (skipped != repeated.end() && *skipped == index++) {
            ++skipped;
            continue;
        }
        size += memberLen(field);
        ++commas;
    }
    return size + std::max<std::int64_t>(commas, 0);
}

}  // namespace

std::int64_t jsonLen(const JsonObject& object) {
    return mayRepeatKeys(object) ? lenOfAnyKeys(object) : lenOfDistinctKeys(object);
}

std::int64_t jsonLen(const JsonValue& value) {
    switch (value.type()) {
        case Type::OBJECT:
            return jsonLen(*asObject(value));
        case Type::ARRAY:
            return arrayLen(*asArray(value));
        case Type::STRING:
            return stringLen(*asString(value));
        case Type::INT64:
            return integerLen(*asInteger(value));
        case Type::UINT64:
        case Type::DOUBLE:
            return length(shortestText(*asDouble(value)));
        case Type::BOOL:
            return *asInteger(value) == 1 ? length("true") : length("false");
        case Type::NULL_VALUE:
            return length("null");
    }
    fault("a JSON value of no known type");
}

std::int64_t approxLen(const OptionalJson& value) {
    if (!value) return 8;
    switch (value->type()) {
        case Type::STRING:
            return utf16Size(*asString(value));
        case Type::UINT64:
        case Type::DOUBLE:
            return length(shortestPlainText(*asDouble(value)));
        case Type::BOOL:
            return 1;
        default:
            return jsonLen(*value);
    }
}

}  // namespace ledgerfern
