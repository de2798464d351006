#include "Analytics/Breakdown.h"

namespace ledgerfern {

std::string_view rawValue(Breakdown breakdown) {
    return breakdown == Breakdown::kind ? "By type" : "By model";
}

std::optional<Breakdown> breakdown(std::string_view raw) {
    for (const Breakdown candidate : allBreakdowns)
        if (rawValue(candidate) == raw) return candidate;
    return std::nullopt;
}

}  // namespace ledgerfern
