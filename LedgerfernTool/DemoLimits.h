#pragma once

#include <string>
#include <vector>

#include "DemoPlan.h"

namespace ledgerfern {

/// Gives every request of Codex the reading of the weekly limit behind it: rising with what was used in the
/// cycle, and falling to nothing where it resets.
void setLimits(std::vector<DemoSession>& sessions, const DemoWish& wish);

/// How much of a limit a request takes: cached input counts for little, output for much.
std::int64_t weightOf(const DemoRequest& request);

/// One of Claude's windows, as Claude Code last told it.
struct DemoWindow {
    std::int64_t tenthsOfPercent = 0;
    DemoTime::Milliseconds resetsAt = 0;
};
/// What Claude Code last told its status line, and when.
struct DemoStatus {
    DemoTime::Milliseconds toldAt = 0;
    DemoWindow fiveHours;
    DemoWindow sevenDays;
    std::string text;  ///< The status file's.
};
DemoStatus claudeStatus(const DemoWish& wish);

}  // namespace ledgerfern
