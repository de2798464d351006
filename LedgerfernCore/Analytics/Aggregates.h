#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "UsageRecords/Records.h"
#include "UsageRecords/SessionResult.h"
#include "UsageRecords/TimeRange.h"
#include "UsageRecords/UsageTotals.h"

namespace ledgerfern {

/// The roll-up over a list of sessions: grand totals, and the requests summed by ISO week, weekly rate-limit
/// cycle, UTC day and local hour. A request counts at its own time, so a session that runs across a boundary
/// spreads over several buckets; one without a time counts in the grand totals only.
///
/// A weekly cycle is the seven days that end at a reset of the rate limit, and all cycles before and after it
/// follow in whole steps. Its key is the decimal text of its start in whole seconds since the epoch.
///
/// A plain value. Numbers that would leave 64 bits aren't added; where a key can't be formed, the request is
/// left out of those buckets alone.
struct Aggregates {
    /// The requests of one week or cycle by project.
    struct WeekBucket {
        std::map<std::string, UsageTotals> projects;

        /// The sum over all projects.
        UsageTotals total() const;
        bool operator==(const WeekBucket&) const = default;
    };
    using CycleRange = TimeRange;
    /// The latest rate-limit reading as the parity document shows it.
    struct RateLimitDict {
        std::optional<Instant> asOfEpoch;
        RateLimitInfo reading;

        bool operator==(const RateLimitDict&) const = default;
    };

    static constexpr double cycleLength = 604'800;  ///< Seconds: seven days.

    std::int64_t filesScanned = 0;
    std::int64_t sessionsAnalyzed = 0;
    UsageTotals totals;                            ///< Sum of the sessions' totals.
    std::map<std::string, WeekBucket> weeks;       ///< By `TSDate::isoWeekKey`.
    std::map<std::string, WeekBucket> cycles;      ///< By cycle key; empty without `cycleAnchor`.
    std::optional<double> cycleAnchor;             ///< The latest known reset, in seconds since the epoch.
    std::map<std::string, ToolStat> tools;         ///< Sums by tool label.
    std::optional<RateLimitInfo> latestRateLimit;  ///< Of the session with the latest `lastTs`.
    std::optional<Instant> latestRateLimitAsOf;    ///< That session's `lastTs`.
    std::map<ToolKind, RateLimitInfo> latestRateLimitsByTool;
    std::map<ToolKind, Instant> latestRateLimitsAsOf;
    /// `resetsAt` of the reading that became the tool's latest. A later reading without one leaves it.
    std::map<ToolKind, double> cycleAnchorsByTool;
    std::map<std::string, std::int64_t> daily;      ///< Total tokens by `TSDate::utcDayKey`.
    std::array<std::int64_t, 24> hourlyLocal = {};  ///< Total tokens by local hour of the day.

    Aggregates() = default;
    /// The roll-up. The order of `results` decides only between readings with equal `lastTs`: the first
    /// stays.
    Aggregates(const SessionList& results, std::int64_t fileCount, std::optional<double> anchor);

    /// The latest reset that any of the sessions' readings names; absent where none does.
    static std::optional<double> cycleAnchorFrom(const SessionList& results);
    /// The cycle of a key, which is its start; absent where the key isn't a number.
    static std::optional<CycleRange> cycleRange(std::string_view key);

    /// Key of the cycle that ends at `cycleAnchor`.
    std::optional<std::string> currentCycleKey() const;
    /// Key of the cycle that ends at the tool's own anchor.
    std::optional<std::string> currentCycleKey(ToolKind tool) const;
    /// The current cycle's key, or the latest week's where no request has a cycle.
    std::optional<std::string> currentScopeKey() const;
    /// True where the tools' anchors differ in whole seconds.
    bool toolsUseDifferentAnchors() const;

    /// The core numbers as canonical JSON: equal values give equal bytes. No line feed at the end.
    std::string parityJSON() const;
    /// Absent without a `latestRateLimit`.
    std::optional<RateLimitDict> rateLimitDict() const;

    bool operator==(const Aggregates&) const = default;
};

}  // namespace ledgerfern
