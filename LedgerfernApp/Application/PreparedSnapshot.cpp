#include "Application/PreparedSnapshot.h"

#include <algorithm>
#include <utility>

#include "Analytics/CostEstimator.h"
#include "Analytics/UsageMath.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

constexpr double aWeek = 7 * 86'400;

double costSince(const SessionResult& session, const PriceTable& prices, Instant start) {
    const auto price = prices.priceFor(session.model);
    if (!price) return 0;
    double sum = 0;
    for (const RequestRecord& request : session.requests.records())
        if (request.time >= start) sum += CostEstimator::cost(request.d, price);
    return sum;
}

double costSince(const SessionList& sessions, const PriceTable& prices, Instant start) {
    double sum = 0;
    for (const SessionPointer& session : sessions)
        sum += costSince(*session, prices, start);
    return sum;
}

std::vector<SnapshotStore::Reading> readingsOf(const SessionList& sessions) {
    std::vector<SnapshotStore::Reading> readings;
    for (const SessionPointer& session : sessions)
        for (const auto& [day, reading] : session->rlDaily)
            readings.push_back({reading.ts, reading.usedPercent, reading.resetsAt});
    std::stable_sort(readings.begin(), readings.end(),
                     [](const auto& a, const auto& b) { return a.ts < b.ts; });
    return readings;
}

}  // namespace

PreparedSnapshot prepared(Snapshot snapshot, const PriceTable& prices, Instant now) {
    PreparedSnapshot result;
    result.todayCostUSD = costSince(snapshot.sessions, prices, TSDate::localDay(now).start);
    result.codexRollingTotal =
        UsageMath::rollingTotal(snapshot.sessionsOf(ToolKind::codex), now - aWeek, now);
    result.readings = readingsOf(snapshot.sessions);
    result.snapshot = std::move(snapshot);
    return result;
}

}  // namespace ledgerfern
