#include "ClaudeLimits/ClaudeStatus.h"

#include <cstdint>

#include "Foundation/Arithmetic.h"
#include "Foundation/FileStat.h"
#include "Foundation/Files.h"
#include "Foundation/JsonReader.h"
#include "UsageRecords/CivilDate.h"

namespace ledgerfern {

namespace {

constexpr std::int64_t fiveHours = 300;  // minutes
constexpr std::int64_t sevenDays = 10080;
constexpr double firstMilliseconds =
    1e12;  // larger resets are in milliseconds: as seconds they'd be 30,000 years off

/// A Boolean is no number here.
std::optional<double> number(const OptionalJson& value) {
    return value && value->is_bool() ? std::nullopt : asDouble(value);
}

std::optional<std::int64_t> resetsAt(const OptionalJson& value) {
    auto seconds = number(value);
    if (seconds && *seconds > firstMilliseconds) *seconds /= 1000;
    return seconds ? truncated(*seconds) : std::nullopt;
}

std::optional<RateLimitInfo> window(const OptionalJson& value, std::int64_t minutes) {
    const auto object = asObject(value);
    if (!object) return std::nullopt;
    const auto [percentage, reset] = members(*object, "used_percentage", "resets_at");
    const auto used = number(percentage);
    if (!used || !rounded(*used)) return std::nullopt;
    RateLimitInfo info;
    info.usedPercent = used;
    info.windowMinutes = minutes;
    info.resetsAt = resetsAt(reset);
    return info;
}

/// No traffic is known since a reset that has passed.
std::optional<RateLimitInfo> rolled(std::optional<RateLimitInfo> info, Instant now) {
    if (!info || !info->resetsAt || now < static_cast<double>(*info->resetsAt)) return info;
    info->usedPercent = 0;
    const auto seconds = truncated(now);
    if (!info->windowMinutes || !seconds) return info;
    const WideInteger span = WideInteger{*info->windowMinutes} * 60;
    const WideInteger passed = WideInteger{*seconds} - *info->resetsAt;
    info->resetsAt = static_cast<std::int64_t>(*info->resetsAt + (passed / span + 1) * span);
    return info;
}

}  // namespace

std::optional<ClaudeStatus> ClaudeStatus::parse(std::string_view bytes, Instant observedAt) {
    JsonReader reader;
    const auto object = asObject(reader.read(bytes));
    const auto limits = object ? asObject(member(*object, "rate_limits")) : std::nullopt;
    if (!limits) return std::nullopt;
    const auto [five, seven] = members(*limits, "five_hour", "seven_day");
    ClaudeStatus status{window(five, fiveHours), window(seven, sevenDays), observedAt};
    if (!status.fiveHour && !status.sevenDay) return std::nullopt;
    return status;
}

std::optional<ClaudeStatus> ClaudeStatus::load(const std::string& directory, Instant now) {
    return loadFile(directory + "/" + std::string(fileName), now);
}

std::optional<ClaudeStatus> ClaudeStatus::loadFile(const std::string& path, Instant now) {
    const auto bytes = readWholeFile(path);
    if (!bytes) return std::nullopt;
    return parse(*bytes, modificationInstant(path).value_or(now));
}

ClaudeStatus ClaudeStatus::current(Instant now) const {
    return {rolled(fiveHour, now), rolled(sevenDay, now), observedAt};
}

}  // namespace ledgerfern
