#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace ledgerfern {

/// The two ways of stacking a chart.
enum class Breakdown { kind, model };

/// In the order in which they are offered.
inline constexpr std::array<Breakdown, 2> allBreakdowns = {Breakdown::kind, Breakdown::model};

/// "By type" or "By model".
std::string_view rawValue(Breakdown breakdown);
/// Absent for any other text.
std::optional<Breakdown> breakdown(std::string_view rawValue);

}  // namespace ledgerfern
