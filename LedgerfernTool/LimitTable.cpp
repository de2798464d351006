#include "LimitTable.h"

#include <cmath>

#include "UsageRecords/TSDate.h"
#include "ValueText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t barWidth = 12;

std::string toolName(ToolKind tool) {
    return tool == ToolKind::codex ? "Codex" : "Claude";
}

std::string unitText(std::int64_t count, std::string_view unit) {
    return std::to_string(count) + " " + std::string(unit);
}

std::string spanText(std::int64_t minutes) {
    const std::int64_t days = minutes / 1440, hours = minutes / 60 % 24, rest = minutes % 60;
    if (days > 0) return unitText(days, "d") + (hours > 0 ? " " + unitText(hours, "h") : "");
    if (hours > 0) return unitText(hours, "h") + (rest > 0 ? " " + unitText(rest, "min") : "");
    return unitText(rest, "min");
}

std::vector<Cell> limitRow(ToolKind tool, const RateLimitInfo& info, std::optional<Instant> asOf,
                           Instant now) {
    const double used = info.usedPercent.value_or(0);
    const Tone tone = limitTone(used);
    std::optional<Instant> reset;
    if (info.resetsAt) reset = static_cast<double>(*info.resetsAt);
    return {toolName(tool),
            windowText(info.windowMinutes),
            {shareBar(used / 100, barWidth), tone},
            {info.usedPercent ? percentText(used) : "—", tone},
            timeText(reset),
            reset ? distanceText(*reset, now) : "",
            info.planType.value_or(""),
            timeText(asOf)};
}

}  // namespace

std::string windowText(std::optional<std::int64_t> minutes) {
    constexpr std::int64_t hour = 60, day = 24 * hour, week = 7 * day;
    if (!minutes || *minutes <= 0) return "—";
    if (*minutes == week) return "weekly";
    if (*minutes % day == 0) return std::to_string(*minutes / day) + "-day";
    if (*minutes % hour == 0) return std::to_string(*minutes / hour) + "-hour";
    return std::to_string(*minutes) + "-minute";
}

std::string distanceText(Instant instant, Instant now) {
    if (!TSDate::isWithinCalendar(instant) || !TSDate::isWithinCalendar(now)) return "";
    const auto minutes = static_cast<std::int64_t>(std::abs(instant - now) / 60);
    if (minutes == 0) return "now";
    return instant > now ? "in " + spanText(minutes) : spanText(minutes) + " ago";
}

std::optional<Table> limitTable(const Aggregates& aggregates, Instant now) {
    Table table({{"Limits", Align::left},
                 {"window", Align::left, std::nullopt, 5},
                 {"", Align::left, std::nullopt, 1},
                 {"used", Align::right},
                 {"resets", Align::left, std::nullopt, 6},
                 {"", Align::left, std::nullopt, 4},
                 {"plan", Align::left, 8, 2},
                 {"as of", Align::left, std::nullopt, 3}});
    for (const auto& [tool, info] : aggregates.latestRateLimitsByTool) {
        const auto asOf = aggregates.latestRateLimitsAsOf.find(tool);
        const bool isDated = asOf != aggregates.latestRateLimitsAsOf.end();
        table.addRow(limitRow(tool, info, isDated ? std::optional(asOf->second) : std::nullopt, now));
    }
    if (table.isEmpty()) return std::nullopt;
    return table;
}

}  // namespace ledgerfern
