#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Foundation/JsonReader.h"

/// A second reader of JSON, built on nlohmann's parser, that the fast one is compared with.
namespace ledgerfern::reference {

struct Value;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

struct Value {
    std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object> content = nullptr;
};

/// Builds the value; stops at the first error and remembers where a number was too large.
class Builder : public nlohmann::json_sax<nlohmann::json> {
public:
    static constexpr std::size_t maxNesting = 1024;

    Value root;
    std::optional<std::pair<std::size_t, std::size_t>> hugeNumber;  // end and length

    bool null() override { return add(nullptr); }
    bool boolean(bool flag) override { return add(flag); }
    bool number_integer(std::int64_t number) override { return add(number); }
    bool number_unsigned(std::uint64_t number) override {
        if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return add(static_cast<double>(number));
        return add(static_cast<std::int64_t>(number));
    }
    bool number_float(double number, const std::string&) override { return add(number); }
    bool string(std::string& text) override { return add(std::move(text)); }
    bool binary(nlohmann::json::binary_t&) override { return false; }
    bool key(std::string& text) override {
        key_ = text;
        return true;
    }
    bool start_object(std::size_t) override { return open(Object{}); }
    bool start_array(std::size_t) override { return open(Array{}); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t position, const std::string& token,
                     const nlohmann::detail::exception& error) override {
        constexpr int outOfRange = 406;
        if (error.id == outOfRange) hugeNumber = std::pair(position, token.size());
        return false;
    }

private:
    template <class T>
    Value* place(T&& content) {
        Value* target = &root;
        if (!open_.empty()) {
            if (auto* array = std::get_if<Array>(&open_.back()->content))
                target = &array->emplace_back();
            else
                target = &std::get<Object>(open_.back()->content)[key_];
        }
        target->content = std::forward<T>(content);
        return target;
    }
    template <class T>
    bool add(T&& content) {
        place(std::forward<T>(content));
        return true;
    }
    template <class T>
    bool open(T&& content) {
        open_.push_back(place(std::forward<T>(content)));
        return open_.size() <= maxNesting;
    }
    bool close() {
        open_.pop_back();
        return true;
    }

    std::vector<Value*> open_;
    std::string key_;
};

inline std::optional<unsigned> surrogateAt(const std::string& text, std::size_t at) {
    if (text.compare(at, 2, "\\u") != 0 || text.size() < at + 6) return std::nullopt;
    const std::string digits = text.substr(at + 2, 4);
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return std::nullopt;
    const auto unit = static_cast<unsigned>(std::stoul(digits, nullptr, 16));
    if (unit < 0xD800 || unit > 0xDFFF) return std::nullopt;
    return unit;
}

/// Backslashes only occur in strings of valid texts, so the strings needn't be found.
inline std::string withoutLoneSurrogates(std::string text) {
    std::size_t at = text.find('\\');
    while (at < text.size()) {
        std::size_t length = 2;
        if (const auto unit = surrogateAt(text, at)) {
            const auto next = at + 6 <= text.size() ? surrogateAt(text, at + 6) : std::nullopt;
            if (*unit < 0xDC00 && next && *next >= 0xDC00) {
                length = 12;
            } else {
                text.replace(at, 6, "\\uFFFD");
            }
        }
        at = text.find('\\', at + length);
    }
    return text;
}

/// The text's value by nlohmann's parser, where that differs from ours in: a byte-order mark and bytes behind
/// a NUL, which it passes over, lone surrogates and numbers beyond a double's range, which it refuses, and
/// nesting, which it doesn't limit.
inline std::optional<Value> read(std::string_view bytes) {
    if (bytes.starts_with("\xEF\xBB\xBF") || bytes.find('\0') != std::string_view::npos) return std::nullopt;
    std::string text = withoutLoneSurrogates(std::string(bytes));
    while (true) {
        Builder builder;
        if (nlohmann::json::sax_parse(text, &builder)) return std::move(builder.root);
        if (!builder.hugeNumber) return std::nullopt;
        const auto [end, length] = *builder.hugeNumber;
        text.replace(end - length, length, "null");
    }
}

inline bool equal(const Value& expected, const JsonValue& value);

struct Comparison {
    const OptionalJson value;

    bool operator()(std::nullptr_t) const { return value->is_null(); }
    bool operator()(bool flag) const { return value->is_bool() && asInteger(value) == (flag ? 1 : 0); }
    bool operator()(std::int64_t number) const {
        return value->is_int64() && asInteger(value) == number &&
               asDouble(value) == static_cast<double>(number);
    }
    bool operator()(double number) const {
        const auto read = asDouble(value);
        return (value->is_double() || (value->is_uint64() && !value->is_int64())) && read == number &&
               std::signbit(*read) == std::signbit(number);
    }
    bool operator()(const std::string& text) const { return asString(value) == text; }
    bool operator()(const Array& items) const {
        const auto array = asArray(value);
        if (!array || array->size() != items.size()) return false;
        std::size_t i = 0;
        for (const JsonValue item : *array)
            if (!equal(items[i++], item)) return false;
        return true;
    }
    bool operator()(const Object& object) const {
        const auto found = asObject(value);
        if (!found) return false;
        std::size_t keys = 0;
        for (const auto field : *found) {
            if (!object.contains(std::string(field.key))) return false;
            ++keys;
        }
        if (keys < object.size()) return false;
        for (const auto& [key, expected] : object) {
            const OptionalJson read = member(*found, key);
            if (!read || !equal(expected, *read)) return false;
        }
        return true;
    }
};

inline bool equal(const Value& expected, const JsonValue& value) {
    return std::visit(Comparison{value}, expected.content);
}

/// Whether both readers say the same of the text.
inline bool agree(std::string_view text, const OptionalJson& value) {
    const auto expected = read(text);
    if (!expected || !value) return !expected && !value;
    return equal(*expected, *value);
}

}  // namespace ledgerfern::reference
