// What the screens derive from a snapshot: 10,000 sessions with a million requests, as many as in
// `addCounters`.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "Analytics/CostEstimator.h"
#include "Analytics/DashboardAnalytics.h"
#include "Analytics/Exports.h"
#include "Analytics/ProjectAnalytics.h"
#include "Random.h"

namespace ledgerfern::bench {
namespace {

constexpr std::size_t sessionCount = 10'000;
constexpr std::size_t requestsPerSession = 100;
constexpr Instant firstStart = 1'765'000'000;
constexpr Instant lastStart = firstStart + 7'000'000;
constexpr std::array<std::string_view, 5> models = {"gpt-5.5", "gpt-5.4-mini", "claude-opus-5",
                                                    "claude-haiku-4-5", "codex-auto-review"};

std::string madeSentence(Random& random, std::size_t words) {
    std::string text;
    for (std::size_t i = 0; i < words; ++i)
        text += random.text("abcdefghijklmnoprstuvwy", 2 + random.below(8)) + " ";
    if (random.percent(20)) text += "— naïve";
    return text;
}

/// Requests some seconds to minutes apart, of which one in ten goes to another model than the last one.
RequestList madeRequests(Random& random, Instant start) {
    StringIndex names;
    SharedArray<RequestRecord> records;
    for (int label = 0; label < 12; ++label)
        names.intern("tool:number " + std::to_string(label));
    Instant time = start;
    StringPool::Index model = StringPool::none;
    for (std::size_t i = 0; i < requestsPerSession; ++i) {
        RequestRecord record;
        time += static_cast<double>(10 + random.below(120));
        if (random.percent(10)) model = names.intern(models[random.below(models.size())]);
        record.time = time;
        record.model = model;
        record.d = {20'000, 18'000, 0, 400, 100, 20'400};
        records.push_back(record);
    }
    records.shrinkToFit();  // as the engine leaves them
    names.shrinkToFit();
    return {records, names.pool()};
}

ToolTable madeTools(Random& random) {
    std::vector<std::pair<std::string, ToolStat>> rows;
    for (std::int64_t label = 0; label < 12; ++label)
        rows.emplace_back((label % 2 == 0 ? "tool:number " : "mcp:server/") + std::to_string(label),
                          ToolStat{10, 1'000 * label + static_cast<std::int64_t>(random.below(100)), 100});
    return ToolTable(rows);
}

SessionPointer madeSession(Random& random, Instant start) {
    SessionResult session;
    const auto folder = "/home/somebody/.codex/sessions/2026/01/" + std::to_string(10 + random.below(20));
    session.path = folder + "/rollout-" + random.text("0123456789abcdef", 36) + ".jsonl";
    session.tool = random.percent(50) ? ToolKind::codex : ToolKind::claudeCode;
    session.project = "Project " + std::to_string(random.below(40));
    session.source.isSubagent = random.percent(40);
    session.source.isGuardian = random.percent(5);
    session.model = models[random.below(models.size())];
    session.firstMessage = "Please " + madeSentence(random, 12);
    session.requests = madeRequests(random, start);
    for (const RequestRecord& request : session.requests.records())
        session.totals.add(request.d);
    session.started = start;
    session.lastTs = session.requests.records().back().time;
    session.tools = madeTools(random);
    session.rateLimit = RateLimitInfo{40.0, 10'080, 1'772'600'000, "pro"};
    session.insights.startupInput = 20'000 + static_cast<std::int64_t>(random.below(40'000));
    session.insights.peakInput = 60'000 + static_cast<std::int64_t>(random.below(100'000));
    if (random.percent(40))
        session.insights = {1, {{"idle", 1}, {"model switch", 1}}, 20'000, 40'000, 160'000};
    return std::make_shared<const SessionResult>(std::move(session));
}

Snapshot madeSnapshot() {
    Random random(7);
    Snapshot snapshot;
    for (std::size_t i = 0; i < sessionCount; ++i)
        snapshot.sessions.push_back(
            madeSession(random, firstStart + static_cast<double>(random.below(7'000'000))));
    std::stable_sort(snapshot.sessions.begin(), snapshot.sessions.end(),
                     [](const auto& a, const auto& b) { return *a->lastTs > *b->lastTs; });
    for (const SessionPointer& session : snapshot.sessions) {
        snapshot.sessionIDs[session->path] = session->path.substr(session->path.size() - 42, 36);
        if (random.percent(30))
            snapshot.threadNames[snapshot.sessionIDs[session->path]] = "Named " + madeSentence(random, 3);
    }
    snapshot.aggregates = Aggregates(snapshot.sessions, sessionCount, 1'772'600'000);
    return snapshot;
}

const Snapshot& snapshot() {
    static const Snapshot made = madeSnapshot();
    return made;
}

void deriveFor(benchmark::State& run, const DashboardAnalytics::Selection& selection) {
    const PriceTable prices(CostEstimator::defaults());
    for (auto _ : run)
        benchmark::DoNotOptimize(DashboardAnalytics::derive(&snapshot(), selection, snapshot().sessionIDs,
                                                            snapshot().threadNames, prices, lastStart));
}

std::string middleCycle() {
    return std::to_string(static_cast<std::int64_t>(firstStart + 3'500'000));
}

void deriveAllTime(benchmark::State& run) {
    deriveFor(run, {{}, {}, true, ""});
}
BENCHMARK(deriveAllTime)->Unit(benchmark::kMillisecond);

/// Everything too, in bars by day.
void deriveWithoutRange(benchmark::State& run) {
    deriveFor(run, {{}, {}, false, ""});
}
BENCHMARK(deriveWithoutRange)->Unit(benchmark::kMillisecond);

void deriveCycle(benchmark::State& run) {
    deriveFor(run, {{}, middleCycle(), false, ""});
}
BENCHMARK(deriveCycle)->Unit(benchmark::kMillisecond);

void deriveToday(benchmark::State& run) {
    deriveFor(run, {{}, "today", false, ""});
}
BENCHMARK(deriveToday)->Unit(benchmark::kMillisecond);

/// Finds every session, but only by the first message.
void deriveSearch(benchmark::State& run) {
    deriveFor(run, {{}, {}, true, "PLEASE"});
}
BENCHMARK(deriveSearch)->Unit(benchmark::kMillisecond);

/// Looks into every text of most sessions.
void deriveRareSearch(benchmark::State& run) {
    deriveFor(run, {{}, {}, true, "Named"});
}
BENCHMARK(deriveRareSearch)->Unit(benchmark::kMillisecond);

void deriveProject(benchmark::State& run) {
    for (auto _ : run)
        benchmark::DoNotOptimize(ProjectAnalytics::derive(
            &snapshot(), {"Project 7", middleCycle(), {}, false, Breakdown::model, true, {}}));
}
BENCHMARK(deriveProject)->Unit(benchmark::kMillisecond);

void exportCSV(benchmark::State& run) {
    for (auto _ : run)
        benchmark::DoNotOptimize(CSVExport::sessionsCSV(snapshot().sessions, {}, {}, snapshot().sessionIDs,
                                                        snapshot().threadNames));
}
BENCHMARK(exportCSV)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ledgerfern::bench
