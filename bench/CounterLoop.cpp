#include "CounterLoop.h"

#include <benchmark/benchmark.h>

#include <vector>

#include "Random.h"

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
        UsageTotals sum = sumOfCounters(records);
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(addCounters)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ledgerfern::bench
