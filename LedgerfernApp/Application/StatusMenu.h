#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Services/StatusItem.h"
#include "UsageRecords/Records.h"

namespace ledgerfern {

/// What the status item's menu and tool tip tell.
struct StatusMenuContent {
    bool hasSnapshot = false;  ///< Without one there are no numbers yet.
    std::string statusText;    ///< "37%", or "…" before the first numbers.
    std::optional<RateLimitInfo> codexWeekly;
    std::optional<RateLimitInfo> claudeWeekly;
    std::optional<RateLimitInfo> claudeFiveHour;
    double todayCostUSD = 0;
    std::optional<std::string> warning;
    bool isRescanning = false;  ///< A rescan that the user asked for.

    bool operator==(const StatusMenuContent&) const = default;
};

/// What the menu's commands do.
struct StatusMenuActions {
    std::function<void()> rescan;
    std::function<void()> quit;
};

/// One line a tool of which a limit is known, such as "Claude 38% · 5h 28% · resets Mon 7:00 AM".
std::vector<std::string> limitLines(const StatusMenuContent& content);

/// The limits, today's cost and the commands. The windows that "Dashboard" and "Settings…" open don't stand
/// yet, so both are disabled.
std::vector<MenuEntry> statusMenu(const StatusMenuContent& content, const StatusMenuActions& actions);

/// "Ledgerfern 37%", and the limits below it.
std::string statusToolTip(const StatusMenuContent& content);

}  // namespace ledgerfern
