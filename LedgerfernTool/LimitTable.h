#pragma once

#include <optional>
#include <string>

#include "Analytics/Aggregates.h"
#include "Table.h"

namespace ledgerfern {

/// One row a tool whose limit is known; absent where none is. What was read of a window that has reset since
/// is shown as past: how full the new one is, nobody has told.
std::optional<Table> limitTable(const Aggregates& aggregates, Instant now);

/// "weekly", "5-hour", "3-day", "90-minute"; "—" where absent or not above 0.
std::string windowText(std::optional<std::int64_t> minutes);
/// When the window resets or has reset, by its two largest units or its largest: "in 3 d 4 h", "in 5 min",
/// "now", "reset 2 h ago", "reset just now".
std::string resetText(Instant reset, Instant now);

}  // namespace ledgerfern
