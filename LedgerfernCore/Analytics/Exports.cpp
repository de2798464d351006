#include "Analytics/Exports.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Analytics/Formats.h"
#include "Analytics/SessionNaming.h"
#include "Foundation/JsonWriter.h"
#include "Foundation/UnicodeText.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

using Texts = std::map<std::string, std::string>;

std::string quoted(std::string_view text) {
    std::string field = "\"";
    for (const char c : repairedUtf8(text)) {
        if (c == '"') field += '"';
        field += c;
    }
    return field + '"';
}

std::string quotedTime(const std::optional<Instant>& instant) {
    return quoted(instant && TSDate::isWithinCalendar(*instant) ? fmtLocalTime(*instant) : "");
}

std::string csvLine(const SessionResult& session, std::int64_t requests, const std::string& name) {
    const UsageTotals& totals = session.totals;
    std::string line = quoted(name) + ',' + quoted(session.project) + ',' + quoted(rawValue(session.tool)) +
                       ',' + quoted(session.model.value_or(""));
    for (const std::int64_t number : {requests, totals.inputTokens, totals.cachedInputTokens,
                                      totals.outputTokens, totals.reasoningOutputTokens, totals.totalTokens})
        line += ',' + std::to_string(number);
    return line + ',' + quoted(session.firstMessage.value_or("")) + ',' + quotedTime(session.started) + ',' +
           quotedTime(session.lastTs) + '\n';
}

SessionList latestFirst(SessionList rows) {
    const auto recency = [](const SessionPointer& session) {
        return session->lastTs.value_or(-std::numeric_limits<Instant>::infinity());
    };
    std::stable_sort(rows.begin(), rows.end(), [&](const SessionPointer& a, const SessionPointer& b) {
        return recency(a) > recency(b);
    });
    return rows;
}

void write(JsonWriter& json, const UsageTotals& totals) {
    json.beginObject();
    for (const auto& [key, count] : totals.v())
        json.member(key, count);
    json.endObject();
}

/// 0 for an absent instant.
double number(const std::optional<Instant>& instant) {
    return instant && std::isfinite(*instant) ? *instant : 0;
}

/// The keys come in ascending order, as the writer demands.
void write(JsonWriter& json, const SessionResult& session, const std::string& name) {
    json.beginObject();
    json.member("first_message", session.firstMessage.value_or(""));
    json.member("last_active", number(session.lastTs));
    json.member("model", session.model.value_or(""));
    json.member("name", name);
    json.member("project", session.project);
    json.member("requests", static_cast<std::int64_t>(session.requests.size()));
    json.member("started", number(session.started));
    json.member("tool", rawValue(session.tool));
    json.key("totals");
    write(json, session.totals);
    json.endObject();
}

}  // namespace

std::string CSVExport::sessionsCSV(const SessionList& rows, const SessionCounts& /*rowTokens*/,
                                   const SessionCounts& rowReqs, const Texts& ids, const Texts& names) {
    std::string text =
        "Name,Project,Tool,Model,Requests,Input Tokens,Cached Input,Output Tokens,Reasoning Tokens,Total "
        "Tokens,First Message,Started,Last Active\n";
    for (const SessionPointer& session : latestFirst(rows)) {
        const auto all = static_cast<std::int64_t>(session->requests.size());
        text += csvLine(*session, rowReqs.find(session->path).value_or(all),
                        SessionNaming::displayName(*session, ids, names));
    }
    return text;
}

std::string JSONExport::sessionsJSON(const SessionList& rows, bool allTime, const Texts& ids,
                                     const Texts& names, Instant now) {
    std::string text;
    JsonWriter json(text);
    json.beginObject();
    json.member("all_time", allTime);
    json.member("generated_at", now);
    json.key("sessions");
    json.beginArray();
    for (const SessionPointer& session : rows)
        write(json, *session, SessionNaming::displayName(*session, ids, names));
    json.endArray();
    json.endObject();
    return text;
}

}  // namespace ledgerfern
