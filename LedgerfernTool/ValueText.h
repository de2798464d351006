#pragma once

#include <optional>
#include <string>

#include "UsageRecords/Records.h"

/// Single values as tables and headers show them.
namespace ledgerfern {

/// `fmtLocalTime`, and "—" where there is none.
std::string timeText(std::optional<Instant> instant);

/// `fmtPercent`, in at most five columns: ">999%" and "<-99%" for what is beyond.
std::string percentText(double percent);

}  // namespace ledgerfern
