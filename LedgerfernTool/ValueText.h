#pragma once

#include <optional>
#include <string>

#include "UsageRecords/Records.h"

/// Single values as tables and headers show them.
namespace ledgerfern {

/// `fmtLocalTime`, and "—" where there is none.
std::string timeText(std::optional<Instant> instant);

}  // namespace ledgerfern
