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

}  // namespace ledgerfern
