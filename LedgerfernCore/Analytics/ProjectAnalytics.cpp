#include "Analytics/ProjectAnalytics.h"

#include <algorithm>
#include <limits>

#include "Analytics/SessionNaming.h"
#include "Foundation/Arithmetic.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern::ProjectAnalytics {

namespace {

/// A session and what of it lies in scope.
struct ScopedSession {
    const SessionPointer* session = nullptr;
    std::int64_t tokens = 0;
    std::int64_t reqs = 0;
};

/// The instants whose ISO week key is the given one; none where no instant has it.
TimeRange weekOf(const std::string& key) {
    const auto monday = TSDate::isoWeekKeyDate(key);
    if (!monday || TSDate::isoWeekKey(*monday) != key) return {};
    return TSDate::isoWeekStretch(*monday);
}

/// Absent: all times.
std::optional<TimeRange> selectedRange(const Selection& selection) {
    if (selection.cycleKey)
        if (const auto cycle = Aggregates::cycleRange(*selection.cycleKey)) return cycle;
    if (selection.weekKey && !selection.allTime) return weekOf(*selection.weekKey);
    return std::nullopt;
}

ScopedSession scoped(const SessionPointer& session, bool allTime, const std::optional<TimeRange>& range) {
    if (allTime)
        return {&session, session->totals.totalTokens, static_cast<std::int64_t>(session->requests.size())};
    ScopedSession sums{&session};
    for (const RequestRecord& request : session->requests.records()) {
        if (range ? !range->contains(request.time) : !request.hasTime()) continue;
        addFromOutside(sums.tokens, request.d.totalTokens);
        ++sums.reqs;
    }
    return sums;
}

std::vector<ScopedSession> sessionsInScope(const Snapshot& snap, const Selection& selection,
                                           const std::optional<TimeRange>& range) {
    std::vector<ScopedSession> kept;
    for (const SessionPointer& session : snap.sessions) {
        if (selection.tool && session->tool != *selection.tool) continue;
        if (session->project != selection.project) continue;
        const ScopedSession sums = scoped(session, selection.allTime, range);
        if (selection.allTime || sums.reqs > 0) kept.push_back(sums);
    }
    return kept;
}

Instant recency(const ScopedSession& sums) {
    return (*sums.session)->lastTs.value_or(-std::numeric_limits<Instant>::infinity());
}

/// Fills in the rows and their sums.
void takeRows(ProjectDerived& derived, std::vector<ScopedSession> kept, bool recent) {
    derived.rowTokens.reserve(kept.size());
    derived.rowReqs.reserve(kept.size());
    for (const ScopedSession& sums : kept) {
        addFromOutside(derived.totalTokens, sums.tokens);
        addFromOutside(derived.totalReqs, sums.reqs);
        derived.rowTokens.set((*sums.session)->path, sums.tokens);
        derived.rowReqs.set((*sums.session)->path, sums.reqs);
    }
    std::stable_sort(kept.begin(), kept.end(), [recent](const ScopedSession& a, const ScopedSession& b) {
        return recent ? recency(a) > recency(b) : a.tokens > b.tokens;
    });
    derived.rows.reserve(kept.size());
    for (const ScopedSession& sums : kept)
        derived.rows.push_back(*sums.session);
}

std::string_view labelOf(const SessionResult& session, Breakdown breakdown) {
    return breakdown == Breakdown::model ? modelLabel(session) : SessionKind::label(session);
}

}  // namespace

ProjectDerived derive(const Snapshot* snap, const Selection& selection) {
    ProjectDerived derived;
    derived.isEmpty = true;
    if (snap == nullptr) return derived;
    const auto range = selectedRange(selection);
    const auto kept = sessionsInScope(*snap, selection, range);
    if (kept.empty()) return derived;
    derived.isEmpty = false;
    takeRows(derived, kept, selection.recent);
    StackBuilder stacks(selection.allTime ? StackUnit::isoWeek : StackUnit::localDay, range);
    for (const ScopedSession& sums : kept)
        stacks.add(**sums.session, labelOf(**sums.session, selection.breakdown));
    derived.stacks = stacks.stacks();
    derived.legend = legendOf(derived.stacks);
    return derived;
}

}  // namespace ledgerfern::ProjectAnalytics
