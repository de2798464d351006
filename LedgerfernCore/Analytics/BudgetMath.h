#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace ledgerfern::BudgetMath {

/// The percentages of a limit that the user is told about.
inline constexpr std::array<double, 3> defaultThresholds = {50.0, 80.0, 95.0};

/// The thresholds above `previous` and not above `current`, in the given order. All are percentages.
std::vector<double> crossedThresholds(double previous, double current, std::span<const double> thresholds);

/// A reading of the weekly limit: percentage used, and the tokens counted so far.
struct Reading {
    double pct = 0;
    double tokens = 0;
};

/// The tokens that would make 100 % of the weekly limit at the rate between the two newest readings. Absent
/// with fewer than two, where the percentage rose by no more than half a point or the tokens didn't rise,
/// and where the result doesn't fit 64 bits.
std::optional<std::int64_t> estimateWeeklyBudget(std::span<const Reading> sortedNewestFirst);

}  // namespace ledgerfern::BudgetMath
