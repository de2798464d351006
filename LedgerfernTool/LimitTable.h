#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Analytics/Aggregates.h"
#include "JsonDocument.h"
#include "Table.h"

namespace ledgerfern {

/// One row a tool whose limit is known, or of the given tool alone; absent where there is none. What was read
/// of a window that has reset since is shown as past: how full the new one is, nobody has told.
std::optional<Table> limitTable(const Aggregates& aggregates, Instant now,
                                std::optional<ToolKind> only = std::nullopt);

/// An array of the limits, with the window as "7d" or "5h". A limit that doesn't tell its window is weekly.
std::function<void(JsonWriter&)> jsonLimits(const Aggregates& aggregates, std::optional<ToolKind> only);

/// "weekly", "5-hour", "3-day", "90-minute"; "—" where absent or not above 0.
std::string windowText(std::optional<std::int64_t> minutes);
/// When the window resets or has reset, by its two largest units or its largest: "in 3 d 4 h", "in 5 min",
/// "now", "reset 2 h ago", "reset just now".
std::string resetText(Instant reset, Instant now);

}  // namespace ledgerfern
