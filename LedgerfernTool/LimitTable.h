#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "JsonDocument.h"
#include "Scan.h"
#include "Table.h"

namespace ledgerfern {

struct KnownLimit {
    ToolKind tool = ToolKind::codex;
    RateLimitInfo info;
    std::optional<Instant> asOf;  ///< When it was read; absent where nobody knows.
};

/// What a scan knows: one limit of each tool, or of the given tool alone, and Claude's five-hour window
/// behind its weekly one.
std::vector<KnownLimit> knownLimits(const Scan& scan, std::optional<ToolKind> only = std::nullopt);

/// One row a limit; absent where there is none. What a log says of a window that has reset since is shown as
/// past: how full the new one is, nobody has told.
std::optional<Table> limitTable(const std::vector<KnownLimit>& limits, Instant now);

/// An array of the limits, with the window as "7d" or "5h". A limit that doesn't tell its window is weekly.
std::function<void(JsonWriter&)> jsonLimits(std::vector<KnownLimit> limits);

/// "weekly", "5-hour", "3-day", "90-minute"; "—" where absent or not above 0.
std::string windowText(std::optional<std::int64_t> minutes);
/// When the window resets or has reset, by its two largest units or its largest: "in 3 d 4 h", "in 5 min",
/// "now", "reset 2 h ago", "reset just now".
std::string resetText(Instant reset, Instant now);

}  // namespace ledgerfern
