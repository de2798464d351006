#include "FileCache/StrictJson.h"

#include <cmath>

#include "Foundation/Arithmetic.h"

namespace ledgerfern::strict {

namespace {

template <class T>
bool readAs(const JsonValue& value, T& result) {
    return value.get(result) == simdjson::SUCCESS;
}

}  // namespace

bool read(const JsonValue& value, bool& result) {
    return readAs(value, result);
}

bool read(const JsonValue& value, std::int64_t& result) {
    if (readAs(value, result)) return true;
    double number = 0;
    if (!read(value, number) || number != std::trunc(number)) return false;
    result = static_cast<std::int64_t>(number);
    return true;
}

bool read(const JsonValue& value, double& result) {
    return readAs(value, result) && fits64Bits(result);
}

bool read(const JsonValue& value, std::string_view& result) {
    return readAs(value, result);
}

bool read(const JsonValue& value, std::string& result) {
    std::string_view text;
    if (!readAs(value, text)) return false;
    result = text;
    return true;
}

bool read(const JsonValue& value, Members& result) {
    const auto object = asObject(value);
    if (!object) return false;
    result.clear();
    for (const auto field : *object)
        result.insert_or_assign(field.key, field.value);
    return true;
}

bool read(const JsonValue& value, SourceInfo& result) {
    const auto object = asObject(value);
    if (!object) return false;
    const auto [raw, isSubagent, nickname, parentThread, isGuardian] =
        members(*object, "raw", "isSubagent", "nickname", "parentThread", "isGuardian");
    return required(raw, result.raw) && required(isSubagent, result.isSubagent) &&
           omissible(nickname, result.nickname) && omissible(parentThread, result.parentThread) &&
           required(isGuardian, result.isGuardian);
}

bool read(const JsonValue& value, RateLimitInfo& result) {
    const auto object = asObject(value);
    if (!object) return false;
    const auto [usedPercent, windowMinutes, resetsAt, planType] =
        members(*object, "usedPercent", "windowMinutes", "resetsAt", "planType");
    return omissible(usedPercent, result.usedPercent) && omissible(windowMinutes, result.windowMinutes) &&
           omissible(resetsAt, result.resetsAt) && omissible(planType, result.planType);
}

bool read(const JsonValue& value, SessionInsights& result) {
    const auto object = asObject(value);
    if (!object) return false;
    const auto [cacheBreaks, breakReasons, rebuiltTokens, startupInput, peakInput] =
        members(*object, "cacheBreaks", "breakReasons", "rebuiltTokens", "startupInput", "peakInput");
    Members reasons;
    if (!required(breakReasons, reasons)) return false;
    for (const auto& [reason, count] : reasons)
        if (!read(count, result.breakReasons[std::string(reason)])) return false;
    return required(cacheBreaks, result.cacheBreaks) && required(rebuiltTokens, result.rebuiltTokens) &&
           omissible(startupInput, result.startupInput) && required(peakInput, result.peakInput);
}

bool read(const JsonValue& value, UsageTotals& result) {
    Members counters;
    if (!read(value, counters)) return false;
    for (const auto& [key, counter] : counters) {
        std::int64_t count = 0;
        if (!read(counter, count)) return false;
        result.set(key, count);
    }
    return true;
}

}  // namespace ledgerfern::strict
