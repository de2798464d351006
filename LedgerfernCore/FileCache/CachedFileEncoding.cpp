#include <cmath>

#include "FileCache/CachedFile.h"
#include "FileCache/CachedRequests.h"
#include "Foundation/JsonWriter.h"

// From a session to the record's text. The writer demands ascending keys; the reader takes any order.

namespace ledgerfern {

namespace {

template <class T>
void omissible(JsonWriter& json, std::string_view name, const std::optional<T>& content) {
    if (content) json.member(name, *content);
}

template <class Array>
void writeArray(JsonWriter& json, const Array& elements) {
    json.beginArray();
    for (const auto& element : elements)
        json.value(element);
    json.endArray();
}

void write(JsonWriter& json, const std::map<std::string, std::int64_t>& counts) {
    json.beginObject();
    for (const auto& [key, count] : counts)
        json.member(key, count);
    json.endObject();
}

void write(JsonWriter& json, const SessionInsights& insights) {
    json.beginObject();
    json.key("breakReasons");
    write(json, insights.breakReasons);
    json.member("cacheBreaks", insights.cacheBreaks);
    json.member("peakInput", insights.peakInput);
    json.member("rebuiltTokens", insights.rebuiltTokens);
    omissible(json, "startupInput", insights.startupInput);
    json.endObject();
}

void write(JsonWriter& json, const RateLimitInfo& info) {
    json.beginObject();
    omissible(json, "planType", info.planType);
    omissible(json, "resetsAt", info.resetsAt);
    omissible(json, "usedPercent", info.usedPercent);
    omissible(json, "windowMinutes", info.windowMinutes);
    json.endObject();
}

void write(JsonWriter& json, const SourceInfo& source) {
    json.beginObject();
    json.member("isGuardian", source.isGuardian);
    json.member("isSubagent", source.isSubagent);
    omissible(json, "nickname", source.nickname);
    omissible(json, "parentThread", source.parentThread);
    json.member("raw", source.raw);
    json.endObject();
}

void write(JsonWriter& json, const std::map<std::string, DailyReading>& readings) {
    json.beginObject();
    for (const auto& [day, reading] : readings) {
        json.key(day);
        json.beginArray();
        json.value(reading.ts);
        json.value(reading.usedPercent);
        json.value(reading.resetsAt);
        json.endArray();
    }
    json.endObject();
}

void write(JsonWriter& json, const ToolTable& tools) {
    json.beginObject();
    for (const auto& [label, stat] : tools) {
        json.key(label);
        writeArray(json, std::array{stat.calls, stat.attribInput, stat.attribOutput});
    }
    json.endObject();
}

void writeModels(JsonWriter& json, const StringIndex& models) {
    json.key("models");
    json.beginArray();
    for (StringIndex::Index i = 0; i < models.size(); ++i)
        json.value(models[i]);
    json.endArray();
}

bool isFinite(const std::optional<double>& number) {
    return !number || std::isfinite(*number);
}

bool canBeWritten(const SessionResult& session) {
    for (const auto& [day, reading] : session.rlDaily)
        if (!isFinite(reading.ts) || !isFinite(reading.usedPercent)) return false;
    return isFinite(session.started) && isFinite(session.lastTs) &&
           (!session.rateLimit || isFinite(session.rateLimit->usedPercent));
}

/// The keys from "cwd" to "project".
void writeFirstHalf(JsonWriter& json, const SessionResult& session, const ModelTable& table) {
    json.member("cwd", session.cwd);
    omissible(json, "firstMessage", session.firstMessage);
    json.key("insights");
    write(json, session.insights);
    omissible(json, "lastTs", session.lastTs);
    omissible(json, "model", session.model);
    writeModels(json, table.models);
    json.member("originator", session.originator);
    json.member("path", session.path);
    json.member("project", session.project);
}

/// The keys from "rateLimit" to "wasUsable".
void writeSecondHalf(JsonWriter& json, const CachedFile& file, const ModelTable& table) {
    const SessionResult& session = *file.session;
    if (session.rateLimit) {
        json.key("rateLimit");
        write(json, *session.rateLimit);
    }
    json.key("reqModel");
    writeArray(json, table.reqModel);
    json.key("reqs");
    json.base64(packedRequests(session.requests));
    json.key("rlDaily");
    write(json, session.rlDaily);
    omissible(json, "sessionId", file.sessionId);
    json.key("source");
    write(json, session.source);
    omissible(json, "started", session.started);
    json.member("tool", rawValue(session.tool));
    json.key("tools");
    write(json, session.tools);
    json.key("totals");
    write(json, session.totals.v());
    omissible(json, "v", file.v);
    json.member("wasUsable", file.wasUsable);
}

RequestList asRestored(const RequestList& requests, Instant now) {
    std::vector<RequestRecord> records(requests.records().begin(), requests.records().end());
    for (RequestRecord& record : records) {
        if (!record.hasTime()) record.time = now;
        record.dominant = StringPool::none;
        for (std::size_t i = 0; i < UsageTotals::fields.size(); ++i)
            record.d.at(i) = throughDouble(record.d.at(i));
    }
    SharedArray<RequestRecord> array;
    array.append(records.data(), records.size());
    return {std::move(array), requests.names()};
}

}  // namespace

CachedFile CachedFile::of(const SessionResult& result, std::optional<std::string> sessionId, bool wasUsable,
                          Instant now) {
    const auto session = std::make_shared<SessionResult>(result);
    session->requests = asRestored(result.requests, now);
    for (auto& [day, reading] : session->rlDaily)
        if (reading.resetsAt) reading.resetsAt = throughDouble(*reading.resetsAt);
    return {session, std::move(sessionId), wasUsable, version};
}

std::optional<EncodedFile> encode(const CachedFile& file) {
    constexpr std::size_t bytesARequest = 80;
    constexpr std::size_t bytesAFile = 4096;
    const SessionResult& session = *file.session;
    if (!canBeWritten(session)) return std::nullopt;
    const ModelTable table(session.requests);
    EncodedFile encoded{session.path, session.tool, {}};
    encoded.json.reserve(session.requests.size() * bytesARequest + bytesAFile);
    JsonWriter json(encoded.json, JsonWriter::Layout::compact);
    json.beginObject();
    writeFirstHalf(json, session, table);
    writeSecondHalf(json, file, table);
    json.endObject();
    return encoded;
}

}  // namespace ledgerfern
