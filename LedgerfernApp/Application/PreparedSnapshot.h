#pragma once

#include <cstdint>
#include <vector>

#include "Analytics/PriceTable.h"
#include "Analytics/Snapshot.h"
#include "History/SnapshotStore.h"

namespace ledgerfern {

/// A snapshot with what its publication needs that goes over all requests, so that the main thread needn't.
struct PreparedSnapshot {
    Snapshot snapshot;
    double todayCostUSD = 0;  ///< Of the requests of the local day, each at the price of its session's model.
    std::int64_t codexRollingTotal = 0;            ///< Codex's tokens of the seven days up to then.
    std::vector<SnapshotStore::Reading> readings;  ///< Of all sessions, in ascending order of time.
};

/// As of `now`. Any thread.
PreparedSnapshot prepared(Snapshot snapshot, const PriceTable& prices, Instant now);

}  // namespace ledgerfern
