#include "WholeScan.h"

#include <memory>

#include "ReportText.h"
#include "Scan.h"

namespace ledgerfern::bench {

namespace {

constexpr std::size_t reportWidth = 80;

}  // namespace

WholeScan wholeScan(const std::filesystem::path& root, unsigned threads) {
    const Clock clock = systemClock();
    const auto scan = std::make_shared<Scan>();
    scan->folders = {root.string()};
    scan->engine =
        std::make_unique<Engine>(std::vector<ToolRoot>{{root.string(), ToolKind::codex}}, clock, threads);
    scan->snapshot = scan->engine->rescan();
    scan->now = clock();

    ScanFigures figures;
    figures.sessions = scan->snapshot.sessions.size();
    for (const auto& session : scan->snapshot.sessions)
        figures.requests += session->requests.size();
    figures.tokens = scan->snapshot.aggregates.totals.totalTokens;
    figures.reportBytes = reportText(*scan, builtInPrices(), reportWidth, Palette(false)).size();
    return {figures, [scan] { scan->snapshot = scan->engine->rescan(); },
            [scan] { scan->snapshot = scan->engine->currentSnapshot(); }};
}

}  // namespace ledgerfern::bench
