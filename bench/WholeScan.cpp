#include "WholeScan.h"

#include <memory>

#include "Engine/Engine.h"

namespace ledgerfern::bench {

namespace {

ScanFigures figuresOf(const Snapshot& snapshot) {
    ScanFigures figures;
    figures.sessions = snapshot.sessions.size();
    for (const auto& session : snapshot.sessions) figures.requests += session->requests.size();
    figures.tokens = snapshot.aggregates.totals.totalTokens;
    return figures;
}

}  // namespace

WholeScan wholeScan(const std::filesystem::path& root, unsigned threads) {
    const auto engine = std::make_shared<Engine>(std::vector<ToolRoot>{{root.string(), ToolKind::codex}},
                                                 systemClock(), threads);
    return {figuresOf(engine->rescan()), [engine] { return figuresOf(engine->rescan()); }};
}

}  // namespace ledgerfern::bench
