#include "WholeScan.h"

#include <memory>

#include "LogTree.h"
#include "ReportText.h"
#include "Scope.h"

namespace ledgerfern::bench {

namespace {

constexpr std::size_t reportWidth = 80;

}  // namespace

WholeScan wholeScan(const std::filesystem::path& tree, unsigned threads) {
    const Clock clock = systemClock();
    Scan scan;
    const std::vector<ToolRoot> roots = {{rootOf(tree, Agent::codex).string(), ToolKind::codex},
                                         {rootOf(tree, Agent::claude).string(), ToolKind::claudeCode}};
    for (const ToolRoot& root : roots)
        scan.folders.push_back(root.path);
    scan.engine = std::make_unique<Engine>(roots, clock, threads);
    scan.snapshot = scan.engine->rescan();
    scan.now = clock();

    ScanFigures figures;
    figures.sessions = scan.snapshot.sessions.size();
    for (const auto& session : scan.snapshot.sessions)
        figures.requests += session->requests.size();
    figures.tokens = scan.snapshot.aggregates.totals.totalTokens;
    Options options;
    options.scope = ScopeName::all;
    const auto scoped = std::make_shared<ScopedScan>(std::move(scan), options, builtInPrices());
    figures.reportBytes = reportText(*scoped, reportWidth, Palette(false)).size();
    return {figures, [scoped] { scoped->scan.snapshot = scoped->scan.engine->rescan(); },
            [scoped] { scoped->scan.snapshot = scoped->scan.engine->currentSnapshot(); }};
}

}  // namespace ledgerfern::bench
