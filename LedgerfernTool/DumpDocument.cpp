#include "DumpDocument.h"

#include <algorithm>
#include <cmath>

#include "Analytics/CostEstimator.h"
#include "Analytics/SessionNaming.h"

namespace ledgerfern {

namespace {

using namespace DumpRecords;

void writeBuckets(JsonWriter& json, const std::map<std::string, Aggregates::WeekBucket>& buckets) {
    writeMap(json, buckets, [&](const Aggregates::WeekBucket& bucket) {
        writeMap(json, bucket.projects, [&](const UsageTotals& totals) { writeTotals(json, totals); });
    });
}

/// A map by tool, whose keys are the tools' raw values.
template <class Value, class Write>
void writeByTool(JsonWriter& json, const std::map<ToolKind, Value>& map, Write write) {
    std::map<std::string, Value> named;
    for (const auto& [tool, value] : map)
        named.emplace(rawValue(tool), value);
    writeMap(json, named, write);
}

void writeRateLimits(JsonWriter& json, const Aggregates& aggregates) {
    const auto instant = [&](Instant value) { writeNumber(json, value); };
    json.key("latest_rate_limit");
    writeRateLimit(json, aggregates.latestRateLimit);
    json.key("latest_rate_limit_as_of");
    writeNumber(json, aggregates.latestRateLimitAsOf);
    json.key("latest_rate_limits_as_of");
    writeByTool(json, aggregates.latestRateLimitsAsOf, instant);
    json.key("latest_rate_limits_by_tool");
    writeByTool(json, aggregates.latestRateLimitsByTool,
                [&](const RateLimitInfo& info) { writeRateLimit(json, info); });
}

void writeCycleKeys(JsonWriter& json, const Aggregates& aggregates) {
    json.member("current_cycle_key", aggregates.currentCycleKey());
    json.member("current_scope_key", aggregates.currentScopeKey());
    json.key("cycle_anchor");
    writeNumber(json, aggregates.cycleAnchor);
    json.key("cycle_anchors_by_tool");
    writeByTool(json, aggregates.cycleAnchorsByTool, [&](double anchor) { writeNumber(json, anchor); });
}

void writeAggregates(JsonWriter& json, const Aggregates& aggregates) {
    json.beginObject();
    writeCycleKeys(json, aggregates);
    json.key("cycles");
    writeBuckets(json, aggregates.cycles);
    json.key("daily");
    writeMap(json, aggregates.daily, [&](std::int64_t tokens) { json.value(tokens); });
    json.member("files_scanned", aggregates.filesScanned);
    json.key("hourly_local");
    json.beginArray();
    for (const std::int64_t tokens : aggregates.hourlyLocal)
        json.value(tokens);
    json.endArray();
    writeRateLimits(json, aggregates);
    json.member("sessions_analyzed", aggregates.sessionsAnalyzed);
    json.key("tools");
    writeMap(json, aggregates.tools, [&](const ToolStat& stat) { writeToolStat(json, stat); });
    json.member("tools_use_different_anchors", aggregates.toolsUseDifferentAnchors());
    json.key("totals");
    writeTotals(json, aggregates.totals);
    json.key("weeks");
    writeBuckets(json, aggregates.weeks);
    json.endObject();
}

/// The latest first, those without a time last, equal ones by path.
SessionList ordered(const Snapshot& snapshot, const SessionSource& source) {
    SessionList sessions;
    sessions.reserve(snapshot.sessions.size());
    for (const SessionPointer& session : snapshot.sessions)
        sessions.push_back(source(session));
    std::sort(sessions.begin(), sessions.end(), [](const SessionPointer& a, const SessionPointer& b) {
        if (a->lastTs != b->lastTs) return a->lastTs > b->lastTs;  // absent is less than any instant
        return a->path < b->path;
    });
    return sessions;
}

void writeHealth(JsonWriter& json, const Snapshot& snapshot) {
    json.key("format_warnings");
    json.beginArray();
    for (const std::string& warning : snapshot.formatWarnings)
        json.value(warning);
    json.endArray();
    json.member("malformed_lines", snapshot.malformedLines);
}

}  // namespace

std::string sessionIdOf(const Snapshot& snapshot, const SessionResult& session) {
    const auto id = snapshot.sessionIDs.find(session.path);
    return id == snapshot.sessionIDs.end() ? session.path : id->second;
}

SessionText textOf(const Snapshot& snapshot, const PriceTable& prices, const SessionResult& session) {
    return {sessionIdOf(snapshot, session),
            SessionNaming::displayName(session, snapshot.sessionIDs, snapshot.threadNames),
            SessionKind::label(session), CostEstimator::cost(prices, session)};
}

void writeDump(const Snapshot& snapshot, const DumpDerivations& derivations, const PriceTable& prices,
               const SessionSource& source, std::string& out, const std::function<bool()>& flush) {
    JsonWriter json(out);
    json.beginObject();
    json.key("aggregates");
    writeAggregates(json, snapshot.aggregates);
    json.key("derived");
    DumpDerived::writeDerived(json, derivations.dashboard);
    json.key("files_per_tool");
    writeByTool(json, snapshot.filesPerTool, [&](std::int64_t count) { json.value(count); });
    writeHealth(json, snapshot);
    if (derivations.project) {
        json.key("project");
        DumpDerived::writeProject(json, *derivations.project);
    }
    json.member("schema", std::int64_t{1});
    json.key("sessions");
    json.beginArray();
    for (const SessionPointer& session : ordered(snapshot, source)) {
        writeSession(json, *session, textOf(snapshot, prices, *session));
        if (!flush()) return;
    }
    json.endArray();
    json.key("thread_names");
    writeMap(json, snapshot.threadNames, [&](const std::string& name) { json.value(name); });
    json.endObject();
    out += '\n';
    static_cast<void>(flush());
}

std::string dumpText(const Snapshot& snapshot, const PriceTable& prices) {
    DashboardAnalytics::Selection allTime;
    allTime.allTime = true;
    const DumpDerivations derivations{
        DashboardAnalytics::derive(&snapshot, allTime, snapshot.sessionIDs, snapshot.threadNames, prices,
                                   snapshot.generatedAt),
        std::nullopt};
    std::string text;
    writeDump(
        snapshot, derivations, prices, [](const SessionPointer& session) { return session; }, text,
        [] { return true; });
    return text;
}

}  // namespace ledgerfern
