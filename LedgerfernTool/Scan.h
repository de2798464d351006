#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Analytics/PriceTable.h"
#include "Analytics/Snapshot.h"
#include "ClaudeLimits/ClaudeStatus.h"
#include "Color.h"
#include "Console.h"
#include "Engine/Engine.h"
#include "Options.h"

namespace ledgerfern {

/// One scan of the roots that the options name, or of the default ones, and what depends on the same instant.
struct Scan {
    std::vector<std::string> folders;  ///< The roots, made absolute.
    std::unique_ptr<Engine> engine;
    Snapshot snapshot;
    Instant now = 0;
    // What the snapshot has no place for, where Claude's limits are merged into it.
    std::optional<RateLimitInfo> claudeFiveHour;
    std::optional<Instant> claudeAsOf;  ///< When Claude Code told its limits.
};

/// Knows the roots, and hasn't scanned them. A root given by hand that isn't there is told on standard error.
Scan unscannedRoots(const Options& options, Console& console);
/// Scans all there is, without Claude's limits. A terminal on standard error shows that it takes a while.
Scan scanRoots(const Options& options, Console& console);

/// The same that on the default roots merges Claude's limits, as the application does.
Scan scanWithLimits(const Options& options, Console& console);
/// The same for roots that are known; where they have been scanned, reads only what has changed since.
void rescanWithLimits(Scan& scan, const Options& options, Console& console);

/// Puts what a reading says of Claude's limits at the scan's instant into the snapshot; without one, nothing
/// is known of them.
void mergeClaudeLimits(Scan& scan, const std::optional<ClaudeStatus>& status);

/// The prices to count with for people: the user's on the default roots, otherwise the built-in ones.
PriceTable pricesFor(const Options& options);
/// The built-in prices.
PriceTable builtInPrices();

/// The colours of standard output.
Palette paletteFor(const Options& options, const Console& console);

}  // namespace ledgerfern
