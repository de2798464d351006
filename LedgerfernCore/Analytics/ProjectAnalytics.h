#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Analytics/Breakdown.h"
#include "Analytics/SessionCounts.h"
#include "Analytics/Snapshot.h"
#include "Analytics/Stacks.h"

namespace ledgerfern {

/// Everything that a project's page shows.
struct ProjectDerived {
    std::vector<DayStack> stacks;
    std::vector<LegendEntry> legend;  ///< Of `stacks`, largest first.
    SessionList rows;                 ///< The project's sessions in scope.
    SessionCounts rowTokens;          ///< Total tokens in scope.
    SessionCounts rowReqs;            ///< Requests in scope.
    std::int64_t totalTokens = 0;     ///< Sum over the rows, in scope.
    std::int64_t totalReqs = 0;
    bool isEmpty = false;  ///< There is nothing to show, and all else is empty.
};

namespace ProjectAnalytics {

/// What the page is to show.
struct Selection {
    std::string project;
    std::optional<std::string> cycleKey;  ///< A cycle's key; what is no number counts as absent.
    std::optional<std::string> weekKey;   ///< An ISO week key. It counts only where `cycleKey` doesn't.
    bool allTime = false;                 ///< Whole sessions, in bars by week; otherwise bars are local days.
    Breakdown breakdown = Breakdown::kind;  ///< By kind, or by the sessions' models.
    bool recent = false;                    ///< Latest session first; otherwise most tokens first.
    std::optional<ToolKind> tool;           ///< Absent: both.

    bool operator==(const Selection&) const = default;
};

/// The project in the snapshot; no snapshot (null) is empty. With `allTime` and a `cycleKey` the bars keep
/// to the cycle, while the rows are whole sessions.
///
/// Pure, for any thread. Goes over every request of the project.
ProjectDerived derive(const Snapshot* snap, const Selection& selection);

}  // namespace ProjectAnalytics

}  // namespace ledgerfern
