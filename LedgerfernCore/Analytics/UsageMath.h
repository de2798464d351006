#pragma once

#include <cstdint>

#include "UsageRecords/Records.h"
#include "UsageRecords/SessionResult.h"

namespace ledgerfern::UsageMath {

/// Total tokens of the requests from `since` to `now`, both ends included. A request without a time counts
/// for nothing, and so does one whose tokens would take the sum out of 64 bits.
std::int64_t rollingTotal(const SessionList& sessions, Instant since, Instant now);

}  // namespace ledgerfern::UsageMath
