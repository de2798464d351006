#pragma once

#include <cstdint>
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

namespace ledgerfern {

/// One item of the request that is being assembled.
struct WindowItem {
    std::int64_t bytes = 0;  ///< Its size in UTF-16 code units; only compared and divided by the sum.
    StringPool::Index call =
        StringPool::none;  ///< While its label is open: the number of its call in `labels`.
    StringPool::Index label = StringPool::none;  ///< Its label, or what counts if its call has none.
    RequestItemKind kind = RequestItemKind::addition;
};

/// One entry per `token_count` with usage.
struct TokenCountEntry {
    std::int64_t ordinal = -1;
    std::int64_t cumInput = 0;
};

/// All that has been learned so far of one Codex rollout file. A value: a copy can be finished without
/// disturbing the original.
struct ParseState {
    CallLabels labels;     ///< Tool call id to tool label; never pruned.
    bool metaSet = false;  ///< A `session_meta` line has been seen.
    std::string cwd = "?";
    std::string project = "?";  ///< Last path component of `cwd`.
    std::string originator;
    SourceInfo source;
    std::optional<std::string> model;                ///< Latest model named by the log.
    std::optional<std::string> currentRequestModel;  ///< The model in force for the next request.
    std::optional<Instant> started;
    std::optional<Instant> lastTs;         ///< Largest line timestamp so far.
    std::optional<UsageTotals> prevTotal;  ///< Cumulative usage at this segment's previous `token_count`.
    std::optional<UsageTotals> segCum;  ///< Latest cumulative usage of the open segment, not yet in `totals`.
    UsageTotals totals;                 ///< Sum of the closed segments.
    std::vector<WindowItem> window;     ///< Items of the request now being assembled.
    SharedArray<RequestRecord> requests;  ///< All requests, in log order; their names are in `names`.
    StringIndex names;                    ///< Tool labels and models.
    LabelStats stats;                     ///< Statistics by tool label.
    std::int64_t compactions = 0;         ///< `context_compacted` events.
    std::optional<RateLimitInfo> lastRateLimit;
    std::string pendingPartial;       ///< Bytes of an unfinished last line.
    std::uint64_t bytesConsumed = 0;  ///< File offset reached, the bytes in `pendingPartial` included.
    bool sawRequests = false;         ///< A `token_count` with usage has been seen.
    std::optional<std::string> firstUserMessage;  ///< First user text that isn't a tag block, shortened.
    std::vector<TokenCountEntry> tcLog;
    std::map<std::string, DailyReading> rlDaily;  ///< First usable rate-limit reading of each UTC day.
    std::optional<Instant> attribCutoff;          ///< Requests before it are counted and not attributed.
    std::int64_t malformedLines = 0;  ///< Lines that passed the pre-filter and weren't JSON objects.
    std::int64_t responseItems = 0;   ///< `response_item` lines with an object payload.
    CacheBreakTracker cacheTracker;
    SessionInsights insights;
};

}  // namespace ledgerfern
