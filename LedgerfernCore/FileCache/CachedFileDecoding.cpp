#include <algorithm>

#include "FileCache/CachedFile.h"
#include "FileCache/CachedRequests.h"
#include "FileCache/StrictJson.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/Base64.h"
#include "Foundation/UnicodeText.h"

// From the record's text to a session. The functions are false where the record isn't one.

namespace ledgerfern {

namespace {

using strict::omissible;
using strict::read;
using strict::required;

bool readTexts(const JsonObject& record, SessionResult& session) {
    const auto [path, tool, cwd, project, originator, model, firstMessage] =
        members(record, "path", "tool", "cwd", "project", "originator", "model", "firstMessage");
    std::string_view agent;
    if (!required(tool, agent)) return false;
    session.tool = toolKind(agent).value_or(ToolKind::codex);
    return required(path, session.path) && required(cwd, session.cwd) && required(project, session.project) &&
           required(originator, session.originator) && omissible(model, session.model) &&
           omissible(firstMessage, session.firstMessage);
}

bool readNumbers(const JsonObject& record, SessionResult& session) {
    const auto [source, started, lastTs, rateLimit, totals, insights] =
        members(record, "source", "started", "lastTs", "rateLimit", "totals", "insights");
    std::optional<SessionInsights> known;
    if (!omissible(insights, known)) return false;
    session.insights = known.value_or(SessionInsights());
    return required(source, session.source) && omissible(started, session.started) &&
           omissible(lastTs, session.lastTs) && omissible(rateLimit, session.rateLimit) &&
           required(totals, session.totals);
}

/// A reading without a time or a percentage is dropped.
bool readDaily(const JsonObject& record, std::map<std::string, DailyReading>& daily) {
    strict::Members days;
    if (!required(member(record, "rlDaily"), days)) return false;
    for (const auto& [day, value] : days) {
        std::vector<std::optional<double>> numbers;
        if (!read(value, numbers)) return false;
        if (numbers.size() < 2 || !numbers[0] || !numbers[1]) continue;
        DailyReading& reading = daily[std::string(day)];
        reading = {*numbers[0], *numbers[1], std::nullopt};
        if (numbers.size() > 2 && numbers[2]) reading.resetsAt = truncated(*numbers[2]);
    }
    return true;
}

/// A label with anything but three numbers is dropped.
bool readTools(const JsonObject& record, StringPool& names, std::vector<ToolTable::Row>& rows) {
    strict::Members labels;
    if (!required(member(record, "tools"), labels)) return false;
    std::vector<std::int64_t> numbers;
    for (const auto& [label, value] : labels) {
        if (!read(value, numbers)) return false;
        if (numbers.size() != 3) continue;
        rows.push_back({names.add(label), {numbers[0], numbers[1], numbers[2]}});
    }
    return true;
}

bool readModels(const JsonObject& record, StringPool& names) {
    std::optional<std::vector<std::string_view>> models;
    if (!omissible(member(record, "models"), models)) return false;
    if (models)
        for (const std::string_view model : *models)
            names.add(model);
    return true;
}

/// An index beyond the models is none, and so is one that isn't there.
bool readModelIndices(const JsonObject& record, std::size_t modelCount, std::vector<RequestRecord>& records) {
    std::optional<std::vector<std::int64_t>> indices;
    if (!omissible(member(record, "reqModel"), indices)) return false;
    if (!indices) return true;
    for (std::size_t n = 0; n < std::min(records.size(), indices->size()); ++n) {
        const std::int64_t index = (*indices)[n];
        if (index >= 0 && static_cast<std::uint64_t>(index) < modelCount)
            records[n].model = static_cast<StringPool::Index>(index);
    }
    return true;
}

RequestList listOf(const std::vector<RequestRecord>& records, const StringPool& names) {
    SharedArray<RequestRecord> array;
    array.append(records.data(), records.size());
    array.shrinkToFit();
    return {std::move(array), names};
}

/// Requests and tools, whose names lie in one pool: first the models, at their indices, then the labels.
bool readTables(const JsonObject& record, std::string_view packed, SessionResult& session) {
    StringPool names;
    if (!readModels(record, names)) return false;
    auto requests = unpackedRequests(packed);
    if (!requests || !readModelIndices(record, names.size(), *requests)) return false;
    std::vector<ToolTable::Row> rows;
    if (!readTools(record, names, rows)) return false;
    names.shrinkToFit();
    rows.shrink_to_fit();
    session.requests = listOf(*requests, names);
    session.tools = ToolTable(names, std::move(rows));
    return readDaily(record, session.rlDaily);
}

/// A path needn't be UTF-8, but the record's text is.
void restorePath(SessionResult& session, std::string_view path) {
    if (session.path != path && session.path == repairedUtf8(path)) session.path = path;
}

}  // namespace

std::optional<CachedFile> CachedFileDecoder::decode(std::string_view json) {
    return fileOf(reader_.read(json), std::nullopt);
}

std::optional<CachedFile> CachedFileDecoder::decodePadded(std::string_view json, std::string_view path) {
    return fileOf(reader_.readPadded(json), path);
}

std::optional<CachedFile> CachedFileDecoder::fileOf(const OptionalJson& value,
                                                    std::optional<std::string_view> path) {
    const auto record = asObject(value);
    if (!record) return std::nullopt;
    const auto session = std::make_shared<SessionResult>();
    CachedFile file{session, std::nullopt, false, std::nullopt};
    const auto [sessionId, wasUsable, v, reqs] = members(*record, "sessionId", "wasUsable", "v", "reqs");
    std::string_view packed;
    const bool isRead = omissible(sessionId, file.sessionId) && required(wasUsable, file.wasUsable) &&
                        omissible(v, file.v) && required(reqs, packed) && readBase64(packed, packed_) &&
                        readTexts(*record, *session) && readNumbers(*record, *session) &&
                        readTables(*record, packed_, *session);
    if (!isRead) return std::nullopt;
    if (path) restorePath(*session, *path);
    return file;
}

}  // namespace ledgerfern
