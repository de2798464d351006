#include "DumpRecords.h"

#include <cmath>

namespace ledgerfern::DumpRecords {

namespace {

void writeSource(JsonWriter& json, const SourceInfo& source) {
    json.beginObject();
    json.member("isGuardian", source.isGuardian);
    json.member("isSubagent", source.isSubagent);
    json.member("nickname", source.nickname);
    json.member("parentThread", source.parentThread);
    json.member("raw", source.raw);
    json.endObject();
}

void writeInsights(JsonWriter& json, const SessionInsights& insights) {
    json.beginObject();
    json.key("breakReasons");
    writeMap(json, insights.breakReasons, [&](std::int64_t count) { json.value(count); });
    json.member("cacheBreaks", insights.cacheBreaks);
    json.member("peakInput", insights.peakInput);
    json.member("rebuiltTokens", insights.rebuiltTokens);
    json.member("startupInput", insights.startupInput);
    json.endObject();
}

void writeReading(JsonWriter& json, const DailyReading& reading) {
    json.beginObject();
    json.member("resetsAt", reading.resetsAt);
    json.key("ts");
    writeNumber(json, reading.ts);
    json.key("usedPercent");
    writeNumber(json, reading.usedPercent);
    json.endObject();
}

void writeTools(JsonWriter& json, const ToolTable& tools) {
    std::map<std::string, ToolStat> byLabel;
    for (const auto entry : tools)
        byLabel.emplace(entry.label, entry.stat);
    writeMap(json, byLabel, [&](const ToolStat& stat) { writeToolStat(json, stat); });
}

}  // namespace

void writeNumber(JsonWriter& json, std::optional<double> number) {
    if (number && std::isfinite(*number))
        json.value(*number);
    else
        json.null();
}

void writeTotals(JsonWriter& json, const UsageTotals& totals) {
    json.beginObject();
    json.member("cache_write_input_tokens", totals.cacheWriteInputTokens);
    json.member("cached_input_tokens", totals.cachedInputTokens);
    json.member("input_tokens", totals.inputTokens);
    json.member("output_tokens", totals.outputTokens);
    json.member("reasoning_output_tokens", totals.reasoningOutputTokens);
    json.member("total_tokens", totals.totalTokens);
    json.endObject();
}

void writeToolStat(JsonWriter& json, const ToolStat& stat) {
    json.beginObject();
    json.member("attrib_input", stat.attribInput);
    json.member("attrib_output", stat.attribOutput);
    json.member("calls", stat.calls);
    json.endObject();
}

void writeRateLimit(JsonWriter& json, const std::optional<RateLimitInfo>& info) {
    if (!info) return json.null();
    json.beginObject();
    json.member("planType", info->planType);
    json.member("resetsAt", info->resetsAt);
    json.key("usedPercent");
    writeNumber(json, info->usedPercent);
    json.member("windowMinutes", info->windowMinutes);
    json.endObject();
}

void writeRequests(JsonWriter& json, const RequestList& requests, std::size_t first) {
    json.beginArray();
    for (std::size_t i = first; i < requests.size(); ++i) {
        const RequestDelta request = requests[i];
        json.beginObject();
        json.key("d");
        writeTotals(json, request.d);
        json.member("dominant", request.dominant);
        json.member("model", request.model);
        json.key("ts");
        writeNumber(json, request.ts);
        json.endObject();
    }
    json.endArray();
}

namespace {

/// The members up to those that a row doesn't have.
void beginSession(JsonWriter& json, const SessionResult& session, const SessionText& text) {
    json.beginObject();
    json.key("cost_usd");
    writeNumber(json, text.cost);
    json.member("cwd", session.cwd);
    json.member("display_name", text.displayName);
    json.member("first_message", session.firstMessage);
    json.key("insights");
    writeInsights(json, session.insights);
    json.member("kind", text.kind);
    json.key("last_ts");
    writeNumber(json, session.lastTs);
    json.member("model", session.model);
    json.member("originator", session.originator);
    json.member("path", session.path);
    json.member("project", session.project);
    json.key("rate_limit");
    writeRateLimit(json, session.rateLimit);
}

/// The members behind those, up to the totals.
void continueSession(JsonWriter& json, const SessionResult& session, const SessionText& text) {
    json.key("rl_daily");
    writeMap(json, session.rlDaily, [&](const DailyReading& reading) { writeReading(json, reading); });
    json.member("session_id", text.id);
    json.key("source");
    writeSource(json, session.source);
    json.key("started");
    writeNumber(json, session.started);
    json.member("tool", rawValue(session.tool));
    json.key("tools");
    writeTools(json, session.tools);
}

void endSession(JsonWriter& json, const SessionResult& session) {
    json.key("totals");
    writeTotals(json, session.totals);
    json.endObject();
}

}  // namespace

void writeSession(JsonWriter& json, const SessionResult& session, const SessionText& text) {
    beginSession(json, session, text);
    json.key("requests");
    writeRequests(json, session.requests, 0);
    continueSession(json, session, text);
    endSession(json, session);
}

void writeSessionRow(JsonWriter& json, const SessionResult& session, const SessionText& text) {
    beginSession(json, session, text);
    continueSession(json, session, text);
    json.member("total_reqs", static_cast<std::int64_t>(session.requests.size()));
    json.member("total_tokens", session.totals.totalTokens);
    endSession(json, session);
}

}  // namespace ledgerfern::DumpRecords
