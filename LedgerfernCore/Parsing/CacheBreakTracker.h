#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "UsageRecords/Records.h"
#include "UsageRecords/SessionInsights.h"
#include "UsageRecords/UsageTotals.h"

namespace ledgerfern {

/// Recognises, from token counts alone, the moments at which a conversation's prompt cache was lost and its
/// whole prompt was paid for again. One tracker follows one chain of requests; all trackers of a session
/// write into the session's one `SessionInsights`.
///
/// Once armed, the detector fires when a request reads less than half of the previous prompt from the cache.
/// It re-arms only when a request is itself served from the cache by at least half, so that one loss counts
/// once.
struct CacheBreakTracker {
    std::optional<std::int64_t> prevInput;  ///< Input tokens of the previous observed request.
    std::optional<Instant> prevTs;          ///< Its time, or the last known one.
    std::optional<std::string> prevModel;   ///< Its model, or the last known one.
    bool prevHealthy = true;                ///< Armed: the previous request came mostly from the cache.
    bool pendingCompaction = false;         ///< Set by the parser when it reads a compaction marker.

    /// Call it once per request, in log order, after the request has been counted. A request without input is
    /// invisible.
    void observe(const UsageTotals& d, std::optional<Instant> ts, std::optional<std::string_view> model,
                 SessionInsights& into);

    bool operator==(const CacheBreakTracker&) const = default;

private:
    bool isBreak(std::int64_t cached) const;
    std::string_view reason(std::optional<Instant> ts, std::optional<std::string_view> model) const;
    void remember(std::int64_t input, std::optional<Instant> ts, std::optional<std::string_view> model);
};

}  // namespace ledgerfern
