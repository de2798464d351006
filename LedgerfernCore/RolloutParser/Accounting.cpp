#include <algorithm>
#include <array>
#include <cmath>

#include "Foundation/Arithmetic.h"
#include "RolloutParser/RolloutParser.h"
#include "RolloutParser/Update.h"
#include "UsageRecords/CivilDate.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern::RolloutParser {

namespace {

/// The six counters of a usage object; one that is missing is 0. `output` becomes the output as it is given.
UsageTotals usage(const JsonObject& object, std::optional<std::int64_t>* output = nullptr) {
    // Spelled here too, since literals are compared faster.
    const auto values = members(object, "input_tokens", "cached_input_tokens", "cache_write_input_tokens",
                                "output_tokens", "reasoning_output_tokens", "total_tokens");
    static_assert(UsageTotals::fields ==
                  std::array<std::string_view, 6>{"input_tokens", "cached_input_tokens",
                                                  "cache_write_input_tokens", "output_tokens",
                                                  "reasoning_output_tokens", "total_tokens"});
    UsageTotals totals;
    for (std::size_t i = 0; i < values.size(); ++i)
        totals.at(i) = asInteger(values[i]).value_or(0);
    if (output) *output = asInteger(values[3]);
    return totals;
}

/// What was used since the reading before. A total that falls, or a difference beyond 64 bits, gives 0.
UsageTotals growth(const UsageTotals& total, const UsageTotals& previous) {
    UsageTotals delta;
    for (std::size_t i = 0; i < UsageTotals::fields.size(); ++i)
        delta.at(i) =
            std::max<std::int64_t>(differenceWithin64Bits(total.at(i), previous.at(i)).value_or(0), 0);
    return delta;
}

/// `part` of `whole` shares of `tokens`, in double precision and cut toward zero.
std::int64_t share(std::int64_t part, std::int64_t tokens, std::int64_t whole) {
    return truncated(static_cast<double>(part) * static_cast<double>(tokens) / static_cast<double>(whole))
        .value_or(0);
}

/// A reading's percentage; one that doesn't fit 64 bits when rounded is no percentage.
std::optional<double> usedPercent(const OptionalJson& value) {
    const auto percent = asDouble(value);
    return percent && rounded(*percent) ? percent : std::nullopt;
}

bool isSameUtcDay(Instant a, Instant b) {
    constexpr auto day = static_cast<double>(secondsPerDay);
    return std::floor(a / day) == std::floor(b / day);
}

}  // namespace

void Update::countTokens(const Envelope& line) {
    const auto info = asObject(line.info());
    if (!info) return;
    const auto [totalValue, lastValue] = members(*info, "total_token_usage", "last_token_usage");
    const auto totalObject = asObject(totalValue);
    if (!totalObject) return;
    const UsageTotals total = usage(*totalObject);

    std::optional<UsageTotals> last;
    std::optional<std::int64_t> lastOutProvided;
    if (const auto lastObject = asObject(lastValue)) last = usage(*lastObject, &lastOutProvided);
    state_.segCum = total;
    state_.sawRequests = true;
    state_.tcLog.push_back({asInteger(line.ordinal).value_or(-1), total.inputTokens});
    flush(total, lastOutProvided, line.ts, last);
    if (const auto limits = asObject(line.rateLimits())) readRateLimits(*limits, line.ts);
}

/// Records one request. Its items stay in the window, marked as its own, until the update settles.
void Update::flush(const UsageTotals& total, std::optional<std::int64_t> lastOutProvided,
                   std::optional<Instant> ts, const std::optional<UsageTotals>& last) {
    UsageTotals d = total;
    std::int64_t lastOutput = total.outputTokens;
    if (state_.prevTotal) {
        d = growth(total, *state_.prevTotal);
        lastOutput = lastOutProvided.value_or(d.outputTokens);
    } else if (lastOutProvided.value_or(0) != 0) {
        lastOutput = *lastOutProvided;
    }

    RequestRecord record;
    if (ts) record.time = *ts;
    record.d = d;
    if (state_.currentRequestModel) record.model = state_.names.intern(*state_.currentRequestModel);
    state_.requests.push_back(record);
    state_.cacheTracker.observe(last.value_or(d), ts, state_.currentRequestModel, state_.insights);

    const bool pastCutoff = state_.attribCutoff && (!ts || *ts < *state_.attribCutoff);
    closed_.push_back(
        {state_.requests.size() - 1, state_.window.size(), d.inputTokens, lastOutput, !pastCutoff});
    state_.prevTotal = total;
}

void Update::readRateLimits(const JsonObject& limits, std::optional<Instant> ts) {
    auto& rlDaily = state_.rlDaily;
    const auto [primaryValue, planType] = members(limits, "primary", "plan_type");
    RateLimitInfo reading;
    if (const auto primary = asObject(primaryValue)) {
        const auto [used, minutes, resetsAt] =
            members(*primary, "used_percent", "window_minutes", "resets_at");
        reading.usedPercent = usedPercent(used);
        reading.windowMinutes = asInteger(minutes);
        reading.resetsAt = asInteger(resetsAt);
    }
    if (const auto plan = asString(planType)) reading.planType = *plan;
    // The first reading of a day is kept. There is one with every request, so the day isn't named for each.
    if (ts && reading.usedPercent && (rlDaily.empty() || !isSameUtcDay(rlDaily.rbegin()->second.ts, *ts)))
        rlDaily.try_emplace(TSDate::utcDayKey(*ts),
                            DailyReading{*ts, *reading.usedPercent, reading.resetsAt});
    state_.lastRateLimit = std::move(reading);
}

/// The label of the largest addition among the items; the first wins a tie.
StringPool::Index Update::dominantLabel(std::size_t begin, std::size_t end) const {
    const WindowItem* largest = nullptr;
    for (std::size_t i = begin; i < end; ++i) {
        const WindowItem& item = state_.window[i];
        if (item.kind == RequestItemKind::addition && (!largest || item.bytes > largest->bytes))
            largest = &item;
    }
    return largest ? largest->label : StringPool::none;
}

/// Shares a request's input over all its items by their size, and its output over those that the model
/// produced.
void Update::attribute(const ClosedRequest& request, std::size_t windowBegin) {
    state_.requests.mutableFrom(request.request)[0].dominant = dominantLabel(windowBegin, request.windowEnd);
    if (!request.attribute) return;
    std::int64_t all = 0;
    std::int64_t assistant = 0;
    for (std::size_t i = windowBegin; i < request.windowEnd; ++i) {
        const WindowItem& item = state_.window[i];
        all = checkedAdd(all, item.bytes);
        if (item.kind == RequestItemKind::assistant) assistant = checkedAdd(assistant, item.bytes);
    }
    all = std::max<std::int64_t>(all, 1);
    assistant = std::max<std::int64_t>(assistant, 1);
    for (std::size_t i = windowBegin; i < request.windowEnd; ++i) {
        const WindowItem& item = state_.window[i];
        if (item.label == StringPool::none) continue;  // its name didn't fit the pool
        ToolStat& stat = state_.stats[item.label];
        const bool produced = item.kind == RequestItemKind::assistant;
        if (produced && isToolLabel(state_.names[item.label])) stat.calls = checkedAdd(stat.calls, 1);
        if (request.input != 0) addFromOutside(stat.attribInput, share(item.bytes, request.input, all));
        if (produced && request.lastOutput != 0)
            addFromOutside(stat.attribOutput, share(request.lastOutput, item.bytes, assistant));
    }
}

}  // namespace ledgerfern::RolloutParser
