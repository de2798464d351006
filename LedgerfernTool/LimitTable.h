#pragma once

#include <optional>
#include <string>

#include "Analytics/Aggregates.h"
#include "Table.h"

namespace ledgerfern {

/// One row a tool whose limit is known; absent where none is.
std::optional<Table> limitTable(const Aggregates& aggregates, Instant now);

/// "weekly", "5-hour", "3-day", "90-minute"; "—" where absent or not above 0.
std::string windowText(std::optional<std::int64_t> minutes);
/// How far an instant lies from now, in its two largest units: "in 3 d 4 h", "in 5 min", "now", "2 h ago".
std::string distanceText(Instant instant, Instant now);

}  // namespace ledgerfern
