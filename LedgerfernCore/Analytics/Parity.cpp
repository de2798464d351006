#include <cmath>

#include "Analytics/Aggregates.h"
#include "Foundation/JsonWriter.h"

// The parity document. Its keys come in ascending order, as the writer demands.

namespace ledgerfern {

namespace {

constexpr std::string_view totalKey = "__total__";

std::optional<double> finite(std::optional<double> number) {
    return number && std::isfinite(*number) ? number : std::nullopt;
}

void write(JsonWriter& json, const UsageTotals& totals) {
    json.beginObject();
    for (const auto& [key, count] : totals.v())
        json.member(key, count);
    json.endObject();
}

void write(JsonWriter& json, const ToolStat& stat) {
    json.beginObject();
    json.member("attrib_input", stat.attribInput);
    json.member("attrib_output", stat.attribOutput);
    json.member("calls", stat.calls);
    json.endObject();
}

void write(JsonWriter& json, const Aggregates::WeekBucket& week) {
    std::map<std::string_view, UsageTotals> rows(week.projects.begin(), week.projects.end());
    rows.insert_or_assign(totalKey, week.total());
    json.beginObject();
    for (const auto& [name, totals] : rows) {
        json.key(name);
        write(json, totals);
    }
    json.endObject();
}

void write(JsonWriter& json, const std::optional<Aggregates::RateLimitDict>& dict) {
    if (!dict) return json.null();
    json.beginObject();
    if (dict->asOfEpoch) json.member("as_of_epoch", *dict->asOfEpoch);
    json.member("plan_type", dict->reading.planType);
    json.key("primary");
    json.beginObject();
    json.member("resets_at", dict->reading.resetsAt);
    json.member("used_percent", dict->reading.usedPercent);
    json.member("window_minutes", dict->reading.windowMinutes);
    json.endObject();
    json.endObject();
}

template <class Map>
void writeMap(JsonWriter& json, std::string_view name, const Map& map) {
    json.key(name);
    json.beginObject();
    for (const auto& [key, content] : map) {
        json.key(key);
        write(json, content);
    }
    json.endObject();
}

}  // namespace

std::optional<Aggregates::RateLimitDict> Aggregates::rateLimitDict() const {
    if (!latestRateLimit) return std::nullopt;
    RateLimitDict dict{finite(latestRateLimitAsOf), *latestRateLimit};
    dict.reading.usedPercent = finite(dict.reading.usedPercent);
    return dict;
}

std::string Aggregates::parityJSON() const {
    std::string text;
    JsonWriter json(text);
    json.beginObject();
    json.member("files_scanned", filesScanned);
    json.key("rate_limit_latest");
    write(json, rateLimitDict());
    json.member("schema", std::int64_t{1});
    json.member("sessions_analyzed", sessionsAnalyzed);
    writeMap(json, "tools", tools);
    json.key("totals");
    write(json, totals);
    writeMap(json, "weeks", weeks);
    json.endObject();
    return text;
}

}  // namespace ledgerfern
