#include "Parsing/CacheBreakTracker.h"

#include <algorithm>

#include "Foundation/Arithmetic.h"

namespace ledgerfern {

namespace {

constexpr std::int64_t smallestPrompt = 4096;  // tokens; losing the cache of a smaller one is no break
constexpr double idleSeconds = 300.0;
constexpr std::string_view compaction = "compaction";

double half(std::int64_t tokens) {
    return static_cast<double>(tokens) / 2;
}

void recordBreak(std::string_view reason, std::int64_t input, std::int64_t cached, SessionInsights& into) {
    addFromOutside(into.breakReasons[std::string(reason)], 1);
    if (reason == compaction) return;  // rewrites the prompt on purpose
    addFromOutside(into.cacheBreaks, 1);
    const auto uncached = differenceWithin64Bits(input, cached);
    addFromOutside(into.rebuiltTokens, std::max<std::int64_t>(uncached.value_or(0), 0));
}

}  // namespace

void CacheBreakTracker::observe(const UsageTotals& d, std::optional<Instant> ts,
                                std::optional<std::string_view> model, SessionInsights& into) {
    const std::int64_t input = d.inputTokens;
    const std::int64_t cached = d.cachedInputTokens;
    if (input < 1) return;
    if (!into.startupInput) into.startupInput = input;
    into.peakInput = std::max(into.peakInput, input);
    if (isBreak(cached)) {
        recordBreak(reason(ts, model), input, cached, into);
        prevHealthy = false;
    } else {
        prevHealthy = !prevInput || half(input) <= static_cast<double>(cached);
    }
    remember(input, ts, model);
}

bool CacheBreakTracker::isBreak(std::int64_t cached) const {
    return prevInput && *prevInput >= smallestPrompt && prevHealthy &&
           half(*prevInput) > static_cast<double>(cached);
}

std::string_view CacheBreakTracker::reason(std::optional<Instant> ts,
                                           std::optional<std::string_view> model) const {
    if (pendingCompaction) return compaction;
    if (model && prevModel && *model != *prevModel) return "model switch";
    if (ts && prevTs && *ts - *prevTs >= idleSeconds) return "idle";
    return "context changed";
}

void CacheBreakTracker::remember(std::int64_t input, std::optional<Instant> ts,
                                 std::optional<std::string_view> model) {
    pendingCompaction = false;
    prevInput = input;
    if (ts) prevTs = ts;
    if (model && prevModel != model) prevModel.emplace(*model);
}

}  // namespace ledgerfern
