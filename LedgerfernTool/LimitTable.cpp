#include "LimitTable.h"

#include <cmath>
#include <utility>

#include "DumpRecords.h"
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

/// In its largest units, of which there are at most two where `isShort` isn't set.
std::string spanText(std::int64_t minutes, bool isShort) {
    const std::int64_t days = minutes / 1440, hours = minutes / 60 % 24, rest = minutes % 60;
    const auto text = [&](std::int64_t count, std::string_view unit, std::int64_t more,
                          std::string_view next) {
        return unitText(count, unit) + (more > 0 && !isShort ? " " + unitText(more, next) : "");
    };
    if (days > 0) return text(days, "d", hours, "h");
    return hours > 0 ? text(hours, "h", rest, "min") : unitText(rest, "min");
}

/// Absent where it isn't known, or outside the calendar.
std::optional<Instant> resetOf(const RateLimitInfo& info) {
    if (!info.resetsAt) return std::nullopt;
    const auto reset = static_cast<Instant>(*info.resetsAt);
    return TSDate::isWithinCalendar(reset) ? std::optional(reset) : std::nullopt;
}

/// The bar and the text of what is used.
std::pair<Cell, Cell> usedCells(std::optional<double> used, bool isPast) {
    if (!used) return {"", "—"};
    if (isPast) return {"", {"was " + percentText(*used), Tone::past}};
    const Tone tone = limitTone(*used);
    return {{shareBar(*used / 100, barWidth), tone}, {percentText(*used), tone}};
}

std::vector<Cell> limitRow(const KnownLimit& limit, Instant now) {
    const RateLimitInfo& info = limit.info;
    const auto reset = resetOf(info);
    const bool isPast = reset && *reset <= now;
    const auto [bar, used] = usedCells(info.usedPercent, isPast);
    return {toolName(limit.tool),
            windowText(info.windowMinutes),
            bar,
            used,
            {reset ? resetText(*reset, now) : "—", isPast ? Tone::past : Tone::plain},
            reset ? timeText(reset) : "",
            info.planType.value_or(""),
            timeText(limit.asOf)};
}

/// When the snapshot's limit of the tool was read.
std::optional<Instant> asOf(const Scan& scan, ToolKind tool) {
    if (tool == ToolKind::claudeCode) return scan.claudeAsOf;
    const auto& known = scan.snapshot.aggregates.latestRateLimitsAsOf;
    const auto found = known.find(tool);
    return found == known.end() ? std::nullopt : std::optional(found->second);
}

/// "7d", "5h", "90m".
std::string windowKey(std::optional<std::int64_t> minutes) {
    constexpr std::int64_t hour = 60, day = 24 * hour;
    if (!minutes || *minutes <= 0) return "7d";
    if (*minutes % day == 0) return std::to_string(*minutes / day) + "d";
    if (*minutes % hour == 0) return std::to_string(*minutes / hour) + "h";
    return std::to_string(*minutes) + "m";
}

void writeLimit(JsonWriter& json, const KnownLimit& limit) {
    const RateLimitInfo& info = limit.info;
    const auto number = [](std::optional<double> value) {
        return [value](JsonWriter& writer) { DumpRecords::writeNumber(writer, value); };
    };
    writeObject(json, {{"tool", jsonValue(rawValue(limit.tool))},
                       {"window", jsonValue(windowKey(info.windowMinutes))},
                       {"as_of", number(limit.asOf)},
                       {"usedPercent", number(info.usedPercent)},
                       {"windowMinutes", jsonValue(info.windowMinutes)},
                       {"resetsAt", jsonValue(info.resetsAt)},
                       {"planType", jsonValue(info.planType)}});
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

std::string resetText(Instant reset, Instant now) {
    const auto minutes = static_cast<std::int64_t>(std::abs(reset - now) / 60);
    if (reset > now) return minutes > 0 ? "in " + spanText(minutes, false) : "now";
    return minutes > 0 ? "reset " + spanText(minutes, true) + " ago" : "reset just now";
}

std::vector<KnownLimit> knownLimits(const Scan& scan, std::optional<ToolKind> only) {
    std::vector<KnownLimit> limits;
    for (const auto& [tool, info] : scan.snapshot.aggregates.latestRateLimitsByTool)
        limits.push_back({tool, info, asOf(scan, tool)});
    if (scan.claudeFiveHour) limits.push_back({ToolKind::claudeCode, *scan.claudeFiveHour, scan.claudeAsOf});
    if (only) std::erase_if(limits, [&](const KnownLimit& limit) { return limit.tool != *only; });
    return limits;
}

std::optional<Table> limitTable(const std::vector<KnownLimit>& limits, Instant now) {
    if (limits.empty()) return std::nullopt;
    Table table({{"Limits", Align::left},
                 {"window", Align::left, std::nullopt, 5},
                 {"", Align::left, std::nullopt, 1},
                 {"used", Align::right},
                 {"resets", Align::left, std::nullopt, 6},
                 {"", Align::left, std::nullopt, 2},
                 {"plan", Align::left, 8, 3},
                 {"as of", Align::left, std::nullopt, 4}});
    for (const KnownLimit& limit : limits)
        table.addRow(limitRow(limit, now));
    return table;
}

std::function<void(JsonWriter&)> jsonLimits(std::vector<KnownLimit> limits) {
    return [limits = std::move(limits)](JsonWriter& json) {
        json.beginArray();
        for (const KnownLimit& limit : limits)
            writeLimit(json, limit);
        json.endArray();
    };
}

}  // namespace ledgerfern
