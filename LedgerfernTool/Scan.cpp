#include "Scan.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Analytics/CostEstimator.h"
#include "ClaudeLimits/MergedLimits.h"
#include "Foundation/Clock.h"
#include "Foundation/Locations.h"
#include "Foundation/UserPreferences.h"
#include "Progress.h"
#include "Quoted.h"

namespace ledgerfern {

namespace {

bool isFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

/// Adds each once, however often and in whatever spelling it is given.
void addRoots(std::vector<ToolRoot>& roots, const std::vector<std::string>& given, ToolKind kind,
              Console& console) {
    for (const std::string& folder : given) {
        const std::string path = lexicallyAbsolute(folder);
        if (std::any_of(roots.begin(), roots.end(),
                        [&](const ToolRoot& root) { return root.path == path && root.kind == kind; }))
            continue;
        roots.push_back({path, kind});
        if (!isFolder(path)) console.warn("there is no folder " + inQuotes(folder) + "; it adds no logs");
    }
}

std::vector<ToolRoot> rootsFor(const Options& options, Console& console) {
    if (!options.namesRoots()) return ToolRoot::defaults();
    std::vector<ToolRoot> roots;
    addRoots(roots, options.codexRoots, ToolKind::codex, console);
    addRoots(roots, options.claudeRoots, ToolKind::claudeCode, console);
    return roots;
}

Clock clockFor(const Options& options) {
    return options.now ? fixedClock(*options.now) : systemClock();
}

/// What the application's own cache holds is of the true present, whatever is taken for it here.
Clock cacheClockFor(const Options& options, const Clock& clock) {
    return options.cacheFile ? clock : systemClock();
}

void rescan(Scan& scan, const Options& options, Console& console) {
    const Progress progress(console.err);
    ScanOptions scanOptions;
    scanOptions.finishFiles = options.finish;
    scanOptions.useCache = options.usesCache;
    scan.snapshot = scan.engine->rescan(scanOptions);
    scan.now = clockFor(options)();
}

}  // namespace

Scan unscannedRoots(const Options& options, Console& console) {
    const Clock clock = clockFor(options);
    std::vector<ToolRoot> roots = rootsFor(options, console);
    Scan scan;
    for (const ToolRoot& root : roots)
        scan.folders.push_back(root.path);
    scan.engine = std::make_unique<Engine>(std::move(roots), clock, 0, options.cacheFile,
                                           cacheClockFor(options, clock));
    return scan;
}

Scan scanRoots(const Options& options, Console& console) {
    Scan scan = unscannedRoots(options, console);
    rescan(scan, options, console);
    return scan;
}

void rescanWithLimits(Scan& scan, const Options& options, Console& console) {
    rescan(scan, options, console);
    if (!options.namesRoots()) mergeClaudeLimits(scan, ClaudeStatus::load(supportDirectory(), scan.now));
}

Scan scanWithLimits(const Options& options, Console& console) {
    Scan scan = unscannedRoots(options, console);
    rescanWithLimits(scan, options, console);
    return scan;
}

void mergeClaudeLimits(Scan& scan, const std::optional<ClaudeStatus>& status) {
    MergedLimits merged = withClaudeLimits(std::move(scan.snapshot), status, scan.now);
    scan.snapshot = std::move(merged.snapshot);
    scan.claudeFiveHour = merged.fiveHour;
    scan.claudeAsOf = status ? std::optional(status->observedAt) : std::nullopt;
}

PriceTable builtInPrices() {
    return PriceTable(CostEstimator::defaults());
}

PriceTable pricesFor(const Options& options) {
    if (options.defaultPrices || options.namesRoots()) return builtInPrices();
    return PriceTable(CostEstimator::prices(*userPreferences()));
}

Palette paletteFor(const Options& options, const Console& console) {
    switch (options.color) {
        case ColorMode::always:
            return Palette(true);
        case ColorMode::never:
            return Palette(false);
        case ColorMode::automatic:
            break;
    }
    return Palette(console.out.isTerminal() && !console.noColor);
}

}  // namespace ledgerfern
