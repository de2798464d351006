#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/SharedArray.h"
#include "Foundation/StringPool.h"
#include "Parsing/CacheBreakTracker.h"
#include "Parsing/CallLabels.h"
#include "Parsing/LabelStats.h"
#include "UsageRecords/Records.h"
#include "UsageRecords/RequestList.h"
#include "UsageRecords/SessionInsights.h"
#include "UsageRecords/UsageTotals.h"

namespace ledgerfern::ClaudeCodeParser {

/// One thing that a request's tokens are shared out to.
struct ContextEntry {
    StringPool::Index label = StringPool::none;  ///< Its label, in the session's names.
    std::int64_t bytes = 0;                      ///< Its approximate size in UTF-16 code units.
};

/// All that has been learned so far of one Claude Code log. A value: a copy can be finished without
/// disturbing the original.
struct State {
    bool metaSet = false;                  ///< A record with a working directory has been seen.
    std::optional<std::string> sessionId;  ///< The log's own.
    std::string cwd = "?";
    std::string project = "?";         ///< Last path component of `cwd`.
    std::optional<std::string> model;  ///< First model of a counted request.
    std::optional<std::string> firstUserMessage;
    std::optional<Instant> started;  ///< The first timestamp in line order, not the smallest.
    std::optional<Instant> lastTs;   ///< The largest timestamp.
    StringIndex seenRequestIds;      ///< Every request that has been counted.
    SharedArray<RequestRecord>
        requests;       ///< All requests, in log order, each with the label that dominates it.
    StringIndex names;  ///< Tool labels and models.
    UsageTotals totals;
    std::int64_t sidechainRecords = 0;
    std::int64_t assistantRecords = 0;  ///< Counted requests.
    bool sawMainChain = false;          ///< Some record was no side chain's.
    std::int64_t assistantWithoutUsage = 0;
    std::string pendingPartial;             ///< Bytes of an unfinished last line.
    std::uint64_t bytesConsumed = 0;        ///< File offset reached, the bytes in `pendingPartial` included.
    std::int64_t malformedLines = 0;        ///< Lines with a marker that weren't JSON objects.
    CallLabels labels;                      ///< Id of a tool call to its label; never pruned.
    LabelStats stats;                       ///< Of all requests but the pending one.
    std::optional<std::size_t> pendingIdx;  ///< The request whose tokens aren't shared out yet.
    std::vector<ContextEntry> curAdds;      ///< What the pending request was the first to read.
    std::vector<ContextEntry> curAsst;      ///< The pending request's own output.
    std::vector<ContextEntry> nextAdds;     ///< What the next request will be the first to read.
    std::map<std::string, CacheBreakTracker, std::less<>> trackers;  ///< By conversation chain.
    SessionInsights insights;
};

}  // namespace ledgerfern::ClaudeCodeParser
