#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UsageRecords/SessionResult.h"

/// Sessions for tests of what is derived from them.
namespace ledgerfern {

inline RequestRecord requestAt(std::optional<Instant> ts, UsageTotals tokens) {
    RequestRecord record;
    if (ts) record.time = *ts;
    record.d = tokens;
    return record;
}

/// A request of which only the total counts.
inline RequestRecord requestAt(std::optional<Instant> ts, std::int64_t total) {
    return requestAt(ts, UsageTotals{0, 0, 0, 0, 0, total});
}

inline RequestList requestList(const std::vector<RequestRecord>& records) {
    SharedArray<RequestRecord> array;
    array.append(records.data(), records.size());
    return {array, StringPool()};
}

inline SessionResult session(const std::vector<RequestRecord>& records, std::string project = "p") {
    SessionResult result;
    result.path = "/logs/s.jsonl";
    result.project = std::move(project);
    result.requests = requestList(records);
    for (const RequestRecord& record : records)
        result.totals.add(record.d);
    return result;
}

/// The session with models for its first requests, in their order.
inline SessionResult withModels(SessionResult result, const std::vector<std::optional<std::string>>& models) {
    StringIndex names;
    std::vector<RequestRecord> records(result.requests.records().begin(), result.requests.records().end());
    for (std::size_t i = 0; i < models.size(); ++i)
        if (models[i]) records.at(i).model = names.intern(*models[i]);
    SharedArray<RequestRecord> array;
    array.append(records.data(), records.size());
    result.requests = {array, names.pool()};
    return result;
}

/// The session in a log of its own.
inline SessionResult inLog(std::string path, SessionResult result) {
    result.path = std::move(path);
    return result;
}

/// A session that has a rate-limit reading.
inline SessionResult reading(ToolKind tool, std::optional<Instant> lastTs,
                             std::optional<std::int64_t> resetsAt, std::optional<double> usedPercent = {}) {
    SessionResult result = session({});
    result.tool = tool;
    result.lastTs = lastTs;
    result.rateLimit = RateLimitInfo{usedPercent, {}, resetsAt, {}};
    return result;
}

inline SessionList listOf(const std::vector<SessionResult>& results) {
    SessionList list;
    for (const SessionResult& result : results)
        list.push_back(std::make_shared<const SessionResult>(result));
    return list;
}

inline std::vector<std::string> pathsOf(const SessionList& sessions) {
    std::vector<std::string> paths;
    for (const SessionPointer& session : sessions)
        paths.push_back(session->path);
    return paths;
}

}  // namespace ledgerfern
