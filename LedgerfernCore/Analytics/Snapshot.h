#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Analytics/Aggregates.h"
#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// Everything that one scan found: each usable session, their roll-up and the health of the logs, valid as of
/// one instant. A plain value that shares nothing mutable with the engine; any thread may read it.
struct Snapshot {
    Aggregates aggregates;  ///< Roll-up of `sessions`.
    SessionList sessions;   ///< Every usable session, latest `lastTs` first, those without one last.
    std::map<std::string, std::string> threadNames;  ///< Names by log path or thread id, mixed.
    std::map<std::string, std::string> sessionIDs;   ///< Session id of each session, by log path.
    std::map<ToolKind, std::int64_t> filesPerTool;   ///< Log files counted; only tools with an entry.
    Instant generatedAt = 0;                         ///< When the snapshot was finished.
    std::int64_t malformedLines = 0;          ///< Lines that should have been read and weren't JSON objects.
    std::vector<std::string> formatWarnings;  ///< Sentences for the user, from `FormatHealth`.

    /// The sessions of one tool, in order; all where `tool` is absent.
    SessionList sessionsOf(std::optional<ToolKind> tool) const;
    /// The roll-up of one tool's sessions. Its cycles keep the overall anchor, so that their keys line up.
    Aggregates aggregatesOf(std::optional<ToolKind> tool) const;
};

}  // namespace ledgerfern
