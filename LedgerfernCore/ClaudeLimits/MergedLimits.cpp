#include "ClaudeLimits/MergedLimits.h"

#include <utility>

namespace ledgerfern {

MergedLimits withClaudeLimits(Snapshot snapshot, const std::optional<ClaudeStatus>& status, Instant now) {
    Aggregates& aggregates = snapshot.aggregates;
    aggregates.latestRateLimitsByTool.erase(ToolKind::claudeCode);
    aggregates.cycleAnchorsByTool.erase(ToolKind::claudeCode);
    if (!status) return {std::move(snapshot), std::nullopt};
    const ClaudeStatus current = status->current(now);
    if (current.sevenDay) {
        aggregates.latestRateLimitsByTool[ToolKind::claudeCode] = *current.sevenDay;
        if (const auto reset = current.sevenDay->resetsAt)
            aggregates.cycleAnchorsByTool[ToolKind::claudeCode] = static_cast<double>(*reset);
    }
    return {std::move(snapshot), current.fiveHour};
}

}  // namespace ledgerfern
