// What a scan does with what it has read: a session's record from each state, and the roll-up over all
// requests, a million as in `addCounters`.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "Analytics/Aggregates.h"
#include "Random.h"
#include "RolloutParser/RolloutParser.h"

namespace ledgerfern::bench {
namespace {

constexpr std::size_t sessionCount = 10'000;
constexpr std::size_t requestsPerSession = 100;

/// A state as it is after a file has been read: requests some minutes apart over hours, and a dozen tool
/// labels.
ParseState madeState(Random& random, Instant start) {
    ParseState state;
    state.metaSet = true;
    state.project = "project " + std::to_string(random.below(40));
    state.lastTs = start;
    for (int label = 0; label < 12; ++label) {
        const auto name = state.names.intern("tool:number " + std::to_string(label));
        state.stats[name] = {10, 1'000, 100};
    }
    for (std::size_t i = 0; i < requestsPerSession; ++i) {
        RequestRecord record;
        *state.lastTs += static_cast<double>(10 + random.below(120));
        record.time = *state.lastTs;
        record.d = {20'000, 18'000, 0, 400, 100, 20'400};
        state.requests.push_back(record);
    }
    state.lastRateLimit = RateLimitInfo{40.0, 10'080, 1'772'600'000, "pro"};
    return state;
}

const std::vector<ParseState>& states() {
    static const std::vector<ParseState> made = [] {
        Random random(5);
        std::vector<ParseState> all;
        for (std::size_t i = 0; i < sessionCount; ++i)
            all.push_back(madeState(random, 1'765'000'000.0 + static_cast<double>(random.below(7'000'000))));
        return all;
    }();
    return made;
}

SessionList publishedSessions() {
    SessionList sessions;
    sessions.reserve(states().size());
    for (const ParseState& state : states())
        sessions.push_back(std::make_shared<const SessionResult>(RolloutParser::finalize(state, "/x.jsonl")));
    std::stable_sort(sessions.begin(), sessions.end(),
                     [](const auto& a, const auto& b) { return *a->lastTs > *b->lastTs; });
    return sessions;
}

void assembleAndRollUp(benchmark::State& run) {
    for (auto _ : run) {
        const SessionList sessions = publishedSessions();
        benchmark::DoNotOptimize(Aggregates(sessions, sessionCount, Aggregates::cycleAnchorFrom(sessions)));
    }
}
BENCHMARK(assembleAndRollUp)->Unit(benchmark::kMillisecond);

void rollUp(benchmark::State& run) {
    const SessionList sessions = publishedSessions();
    for (auto _ : run)
        benchmark::DoNotOptimize(Aggregates(sessions, sessionCount, Aggregates::cycleAnchorFrom(sessions)));
}
BENCHMARK(rollUp)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ledgerfern::bench
