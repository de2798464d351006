#pragma once

#include <optional>

#include "Analytics/Snapshot.h"
#include "ClaudeLimits/ClaudeStatus.h"

namespace ledgerfern {

/// A snapshot with Claude's limits, and what has no place in it.
struct MergedLimits {
    Snapshot snapshot;
    std::optional<RateLimitInfo> fiveHour;  ///< Claude's five-hour window.
};

/// Puts Claude's limits into a snapshot as they stand at `now`. They never come from the logs: whatever was
/// there is taken out first, so merging again changes nothing but what the new reading says.
MergedLimits withClaudeLimits(Snapshot snapshot, const std::optional<ClaudeStatus>& status, Instant now);

}  // namespace ledgerfern
