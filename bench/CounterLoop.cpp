// The least that a sum over a million requests can cost: a loop that adds their six counters. What goes over
// as many requests is measured beside it.

#include <benchmark/benchmark.h>

#include <vector>

#include "Random.h"
#include "UsageRecords/RequestList.h"

namespace ledgerfern::bench {
namespace {

constexpr std::size_t requestCount = 1'000'000;

std::vector<RequestRecord> madeRecords() {
    Random random(6);
    std::vector<RequestRecord> records(requestCount);
    for (RequestRecord& record : records)
        record.d = {static_cast<std::int64_t>(random.below(200'000)), 18'000, 0, 400, 100, 20'400};
    return records;
}

void addCounters(benchmark::State& run) {
    const std::vector<RequestRecord> records = madeRecords();
    for (auto _ : run) {
        UsageTotals sum;
        for (const RequestRecord& record : records) {
            sum.inputTokens += record.d.inputTokens;
            sum.cachedInputTokens += record.d.cachedInputTokens;
            sum.cacheWriteInputTokens += record.d.cacheWriteInputTokens;
            sum.outputTokens += record.d.outputTokens;
            sum.reasoningOutputTokens += record.d.reasoningOutputTokens;
            sum.totalTokens += record.d.totalTokens;
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(addCounters)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ledgerfern::bench
