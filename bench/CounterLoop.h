#pragma once

#include <span>

#include "UsageRecords/RequestList.h"

/// The least that a sum over many requests can cost: a loop that adds their six counters. What goes over as
/// many requests is measured beside it.
namespace ledgerfern::bench {

inline UsageTotals sumOfCounters(std::span<const RequestRecord> records) {
    UsageTotals sum;
    for (const RequestRecord& record : records) {
        sum.inputTokens += record.d.inputTokens;
        sum.cachedInputTokens += record.d.cachedInputTokens;
        sum.cacheWriteInputTokens += record.d.cacheWriteInputTokens;
        sum.outputTokens += record.d.outputTokens;
        sum.reasoningOutputTokens += record.d.reasoningOutputTokens;
        sum.totalTokens += record.d.totalTokens;
    }
    return sum;
}

}  // namespace ledgerfern::bench
