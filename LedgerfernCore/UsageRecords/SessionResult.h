#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UsageRecords/Records.h"
#include "UsageRecords/RequestList.h"
#include "UsageRecords/SessionInsights.h"
#include "UsageRecords/ToolTable.h"
#include "UsageRecords/UsageTotals.h"

namespace ledgerfern {

/// The finished result of parsing one log file, and the unit that everything downstream sums up. Once
/// published it never changes.
struct SessionResult {
    std::string path;  ///< Absolute path of the log file, as bytes: the record's identity.
    ToolKind tool = ToolKind::codex;
    std::string project = "?";  ///< As a rule the last path component of `cwd`.
    std::string cwd = "?";      ///< The session's working directory.
    std::string originator;     ///< The client that started the session, as logged.
    SourceInfo source;
    std::optional<std::string> model;
    std::optional<std::string> firstMessage;  ///< First user message, shortened.
    std::optional<Instant> started;
    std::optional<Instant> lastTs;  ///< Latest timestamp seen.
    RequestList requests;           ///< All requests, in log order.
    UsageTotals totals;
    ToolTable tools;                              ///< Statistics by tool label.
    std::optional<RateLimitInfo> rateLimit;       ///< The last reading of the session.
    std::map<std::string, DailyReading> rlDaily;  ///< First reading of each UTC day, by `TSDate::utcDayKey`.
    SessionInsights insights;

    const std::string& id() const { return path; }
    bool operator==(const SessionResult&) const = default;
};

/// How sessions travel: shared and immutable, so that copies of a list of them are cheap.
using SessionPointer = std::shared_ptr<const SessionResult>;
using SessionList = std::vector<SessionPointer>;

}  // namespace ledgerfern
