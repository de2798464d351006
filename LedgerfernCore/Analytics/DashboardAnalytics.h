#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Analytics/InsightRules.h"
#include "Analytics/SessionCounts.h"
#include "Analytics/Snapshot.h"
#include "Analytics/Stacks.h"
#include "UsageRecords/TimeRange.h"

namespace ledgerfern {

/// What one label has added to the contexts.
struct TopTool {
    std::string label;  ///< Also its identity.
    std::int64_t calls = 0;
    std::int64_t impact = 0;  ///< Input and output tokens attributed to the label.

    bool operator==(const TopTool&) const = default;
};

/// Everything that the dashboard shows of a selection.
struct DashboardDerived {
    std::vector<DayStack> kindStacks;      ///< By `SessionKind::label`.
    std::vector<DayStack> modelStacks;     ///< By the model that served the request.
    std::vector<LegendEntry> kindLegend;   ///< Of `kindStacks`, largest first.
    std::vector<LegendEntry> modelLegend;  ///< Of `modelStacks`, largest first.
    SessionList rows;                      ///< The sessions in scope, most tokens in scope first.
    SessionCounts rowTokens;               ///< Total tokens in scope.
    SessionCounts rowReqs;                 ///< Requests in scope.
    // The sums over the rows, in scope.
    std::int64_t totalTokens = 0;
    std::int64_t totalReqs = 0;
    std::int64_t totalInput = 0;
    std::int64_t totalCached = 0;
    std::vector<TopTool> topTools;  ///< At most 8, largest impact first, of all sessions.
    std::vector<Insight> insights;
    bool isEmpty = false;  ///< There is nothing to show, and all else is empty.
};

namespace DashboardAnalytics {

/// What the user has chosen to see.
struct Selection {
    std::optional<ToolKind> tool;         ///< Absent: both.
    std::optional<std::string> cycleKey;  ///< A cycle's key or "today"; absent, or no number: everything.
    bool allTime = false;                 ///< Everything, in bars by week; otherwise bars are local days.
    std::string search;  ///< To occur in a name, project, model or first message, in whatever case.

    bool operator==(const Selection&) const = default;
};

/// The times that a selection covers.
struct Scope {
    bool allTime = false;
    std::optional<TimeRange> range;              ///< Of the bars; absent: all times.
    std::map<ToolKind, TimeRange> cyclesByTool;  ///< What sessions of the tool count by instead.

    /// What of the session counts; absent: the whole session.
    std::optional<TimeRange> rangeOf(const SessionResult& session) const;
};

/// What the selection covers at `now`, whatever its search text. "today" is the local day of `now`, up to the
/// first moment of the next, also where a day doesn't begin at midnight. The tools have their own cycles
/// where their limits reset at different times, unless all time or today is selected. Pure, for any thread.
Scope scopeOf(const Aggregates& aggregates, const Selection& selection, Instant now);

/// The snapshot as the selection sees it; no snapshot (null) is empty. `ids` and `names` are those of
/// `SessionNaming::displayName`. Where the tools' limits reset at different times, a session counts by the
/// current cycle of its own tool, while the bars keep to the selected cycle.
///
/// Pure, for any thread. Goes over every request in scope.
DashboardDerived derive(const Snapshot* snap, const Selection& selection,
                        const std::map<std::string, std::string>& ids,
                        const std::map<std::string, std::string>& names, const PriceTable& prices,
                        Instant now);

}  // namespace DashboardAnalytics

}  // namespace ledgerfern
