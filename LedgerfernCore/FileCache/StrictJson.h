#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/JsonReader.h"
#include "UsageRecords/Records.h"
#include "UsageRecords/SessionInsights.h"
#include "UsageRecords/UsageTotals.h"

/// Reads JSON that this program has written. Unlike what stands in logs, it is taken as it was meant or not
/// at all: each function is false where the value isn't what it is to be, and `result` is then of no use.
namespace ledgerfern::strict {

bool read(const JsonValue& value, bool& result);
/// A number without a fraction that fits 64 bits, however it is written: 3, 3.0 or 3e0.
bool read(const JsonValue& value, std::int64_t& result);
/// A number that, cut toward zero, fits 64 bits. All moments and percentages do.
bool read(const JsonValue& value, double& result);
/// Lives as long as the value.
bool read(const JsonValue& value, std::string_view& result);
bool read(const JsonValue& value, std::string& result);

/// An object's members by key. Of a key that occurs twice the last value counts.
using Members = std::map<std::string_view, JsonValue>;
bool read(const JsonValue& value, Members& result);

/// Records under their own keys; unknown keys may hold anything.
bool read(const JsonValue& value, SourceInfo& result);
bool read(const JsonValue& value, RateLimitInfo& result);
bool read(const JsonValue& value, SessionInsights& result);
/// An object of integers, of which the six counters are taken, 0 where they are missing.
bool read(const JsonValue& value, UsageTotals& result);

template <class T>
bool read(const JsonValue& value, std::vector<T>& result);

/// Null is absent.
template <class T>
bool read(const JsonValue& value, std::optional<T>& result) {
    result.reset();
    return value.is_null() || read(value, result.emplace());
}

template <class T>
bool read(const JsonValue& value, std::vector<T>& result) {
    const auto array = asArray(value);
    if (!array) return false;
    result.clear();
    for (const JsonValue element : *array)
        if (!read(element, result.emplace_back())) return false;
    return true;
}

/// A member that is always written.
template <class T>
bool required(const OptionalJson& value, T& result) {
    return value && read(*value, result);
}

/// A member that is left out where it is absent.
template <class T>
bool omissible(const OptionalJson& value, std::optional<T>& result) {
    result.reset();
    return !value || read(*value, result);
}

}  // namespace ledgerfern::strict
