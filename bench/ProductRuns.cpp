#include "ProductRuns.h"

#include <ftw.h>
#include <sqlite3.h>

#include <fstream>
#include <stdexcept>
#include <vector>

#include "Analytics/CostEstimator.h"
#include "Analytics/DashboardAnalytics.h"
#include "CounterLoop.h"
#include "Engine/Engine.h"
#include "Foundation/Memory.h"
#include "LogTree.h"
#include "Measure.h"

namespace ledgerfern::bench {

namespace {

namespace fs = std::filesystem;
constexpr double aWeek = 7 * 86400;

// So that nothing that is measured can be left out.
volatile std::int64_t sink = 0;

std::vector<ToolRoot> rootsOf(const ProductTree& tree) {
    return {{rootOf(tree.root, Agent::codex).string(), ToolKind::codex},
            {rootOf(tree.root, Agent::claude).string(), ToolKind::claudeCode}};
}

void removeCache(const ProductTree& tree) {
    for (const char* suffix : {"", "-wal", "-shm"})
        fs::remove(tree.cache.string() + suffix);
}

std::uint64_t requestCount(const Snapshot& snapshot) {
    std::uint64_t count = 0;
    for (const SessionPointer& session : snapshot.sessions)
        count += session->requests.size();
    return count;
}

double walkSeconds(const ProductTree& tree) {
    constexpr int openFolders = 64;
    return secondsOf([&] {
        const auto visit = [](const char*, const struct stat* status, int, struct FTW*) {
            sink = sink + status->st_size;
            return 0;
        };
        ::nftw(tree.root.c_str(), visit, openFolders, FTW_PHYS);
    });
}

double addCountersSeconds(std::size_t count) {
    std::vector<RequestRecord> records(count);
    for (std::size_t i = 0; i < count; ++i)
        records[i].d = {static_cast<std::int64_t>(i % 200'000), 18'000, 0, 400, 100, 20'400};
    return secondsOf([&] {
        const UsageTotals sum = sumOfCounters(records);
        sink = sum.inputTokens + sum.cachedInputTokens + sum.cacheWriteInputTokens + sum.outputTokens +
               sum.reasoningOutputTokens + sum.totalTokens;
    });
}

/// A record that a scan has to account for, different from step to step.
std::string requestLine(unsigned step) {
    return R"({"type":"assistant","cwd":"/","timestamp":"2026-09-01T00:00:00.000Z","requestId":"req_step_)" +
           std::to_string(step) + R"(","message":{"model":"m","usage":{"input_tokens":5}}})" + "\n";
}

}  // namespace

ProductRun firstScan(const ProductTree& tree, FirstScan kind) {
    if (kind == FirstScan::writingCache || kind == FirstScan::quick) removeCache(tree);
    return inChild([&] {
        ProductRun run;
        ScanOptions options;
        options.useCache = kind != FirstScan::withoutCache;
        const Clock clock = systemClock();
        if (kind == FirstScan::quick) options.quickCutoff = clock() - aWeek;
        const std::uint64_t before = bytesRead();
        Engine engine(rootsOf(tree), clock, tree.threads, tree.cache.string());
        Snapshot snapshot;
        run.seconds = secondsOf([&] { snapshot = engine.rescan(options); });
        run.bytesRead = bytesRead() - before;
        run.peak = peakMemory();
        releaseFreeMemory();
        run.resting = residentMemory();
        run.sessions = snapshot.sessions.size();
        run.requests = requestCount(snapshot);
        return run;
    });
}

KnownTreeRun knownTree(const ProductTree& tree, unsigned rounds) {
    const fs::path grown = treeFiles(tree.root).back().path;
    const auto size = fs::file_size(grown);
    const auto result = inChild([&] {
        const Clock clock = systemClock();
        Engine engine(rootsOf(tree), clock, tree.threads);
        Snapshot snapshot = engine.rescan();
        const std::uint64_t count = requestCount(snapshot);
        const PriceTable prices(CostEstimator::defaults());
        std::vector<double> nothing, oneLine, walks, snapshots, rollUps, derivations, loops;
        for (unsigned round = 0; round < rounds; ++round) {
            snapshots.push_back(secondsOf([&] { snapshot = engine.currentSnapshot(); }));
            nothing.push_back(secondsOf([&] { snapshot = engine.rescan(); }) - snapshots.back());
            std::ofstream(grown, std::ios::binary | std::ios::app) << requestLine(round);
            oneLine.push_back(secondsOf([&] { snapshot = engine.rescan(); }) - snapshots.back());
            walks.push_back(walkSeconds(tree));
            rollUps.push_back(secondsOf([&] {
                sink = Aggregates(snapshot.sessions, 1, snapshot.aggregates.cycleAnchor).totals.totalTokens;
            }));
            derivations.push_back(secondsOf([&] {
                sink = DashboardAnalytics::derive(&snapshot, {{}, {}, true, ""}, snapshot.sessionIDs,
                                                  snapshot.threadNames, prices, clock())
                           .totalTokens;
            }));
            loops.push_back(addCountersSeconds(count));
        }
        return KnownTreeRun{median(nothing), median(oneLine),     median(walks), median(snapshots),
                            median(rollUps), median(derivations), median(loops)};
    });
    fs::resize_file(grown, size);
    return result;
}

double readRowsAndWalk(const ProductTree& tree) {
    return inChild([&] {
        const double reading = secondsOf([&] {
            sqlite3* database = nullptr;
            sqlite3_stmt* rows = nullptr;
            const char* query = "SELECT path, size, mtime, consumed, blob FROM files;";
            if (sqlite3_open(tree.cache.c_str(), &database) != SQLITE_OK ||
                sqlite3_prepare_v2(database, query, -1, &rows, nullptr) != SQLITE_OK)
                throw std::runtime_error("no cache file to read");
            std::int64_t sum = 0;
            while (sqlite3_step(rows) == SQLITE_ROW) {
                const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(rows, 4));
                const int count = sqlite3_column_bytes(rows, 4);
                for (int i = 0; i < count; ++i)
                    sum += bytes[i];
            }
            sink = sum;
            sqlite3_finalize(rows);
            sqlite3_close(database);
        });
        return reading + walkSeconds(tree);
    });
}

}  // namespace ledgerfern::bench
