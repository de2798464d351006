#pragma once

#include <string>
#include <vector>

#include "DemoPlan.h"

namespace ledgerfern {

/// Gives every request of Codex the reading of the weekly limit behind it: rising with what was used in the
/// cycle, and falling to nothing where it resets.
void setLimits(std::vector<DemoSession>& sessions, const DemoWish& wish);

/// What Claude Code last told its status line.
std::string claudeStatusText(const DemoWish& wish);
/// When that was.
DemoTime::Milliseconds claudeStatusTime(const DemoWish& wish);

}  // namespace ledgerfern
