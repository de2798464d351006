#pragma once

#include "UsageRecords/Records.h"

namespace ledgerfern {

/// From `start` up to, and not including, `end`; nothing in a fresh one.
struct TimeRange {
    Instant start = 0;
    Instant end = 0;

    /// False for NaN, which is no instant.
    bool contains(Instant instant) const { return instant >= start && instant < end; }
    bool operator==(const TimeRange&) const = default;
};

}  // namespace ledgerfern
