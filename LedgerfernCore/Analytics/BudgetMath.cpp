#include "Analytics/BudgetMath.h"

#include <algorithm>
#include <iterator>

#include "Foundation/Arithmetic.h"

namespace ledgerfern::BudgetMath {

std::vector<double> crossedThresholds(double previous, double current, std::span<const double> thresholds) {
    std::vector<double> crossed;
    std::copy_if(thresholds.begin(), thresholds.end(), std::back_inserter(crossed),
                 [&](double threshold) { return previous < threshold && threshold <= current; });
    return crossed;
}

std::optional<std::int64_t> estimateWeeklyBudget(std::span<const Reading> sortedNewestFirst) {
    if (sortedNewestFirst.size() < 2) return std::nullopt;
    const Reading& newest = sortedNewestFirst[0];
    const Reading& second = sortedNewestFirst[1];
    const double points = newest.pct - second.pct;
    if (!(points > 0.5 && second.tokens < newest.tokens)) return std::nullopt;
    return truncated((newest.tokens - second.tokens) / points * 100);
}

}  // namespace ledgerfern::BudgetMath
