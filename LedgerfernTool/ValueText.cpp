#include "ValueText.h"

#include "Analytics/Formats.h"

namespace ledgerfern {

std::string timeText(std::optional<Instant> instant) {
    return instant ? fmtLocalTime(*instant) : "—";
}

}  // namespace ledgerfern
