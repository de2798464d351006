#include "ValueText.h"

#include "Analytics/Formats.h"

namespace ledgerfern {

std::string timeText(std::optional<Instant> instant) {
    return instant ? fmtLocalTime(*instant) : "—";
}

std::string percentText(double percent) {
    if (percent >= 999.5) return ">999%";
    if (percent <= -99.5) return "<-99%";
    return fmtPercent(percent);
}

}  // namespace ledgerfern
