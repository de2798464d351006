#include <algorithm>
#include <limits>

#include "Engine/Engine.h"
#include "Engine/FormatHealth.h"
#include "Foundation/Arithmetic.h"

namespace ledgerfern {

namespace {

constexpr Instant formatHealthSpan = 1'209'600;  // 14 days
constexpr Instant distantPast = -std::numeric_limits<Instant>::infinity();

/// Stable. The times are brought together first: each comparison would look for two sessions in memory.
SessionList latestFirst(SessionList sessions) {
    struct Place {
        Instant lastTs;
        std::size_t index;
    };
    std::vector<Place> order;
    order.reserve(sessions.size());
    for (const SessionPointer& session : sessions)
        order.push_back({session->lastTs.value_or(distantPast), order.size()});
    std::stable_sort(order.begin(), order.end(),
                     [](const Place& a, const Place& b) { return a.lastTs > b.lastTs; });
    SessionList sorted;
    sorted.reserve(sessions.size());
    for (const Place& place : order)
        sorted.push_back(std::move(sessions[place.index]));
    return sorted;
}

}  // namespace

Snapshot Engine::currentSnapshot() {
    return queue_.sync([&] {
        FileCounts filesPerTool;
        countRest({}, filesPerTool);
        return buildSnapshot(std::move(filesPerTool));
    });
}

Snapshot Engine::buildSnapshot(FileCounts filesPerTool) {
    Snapshot snapshot;
    publishSessions(snapshot);
    std::int64_t filesScanned = 0;
    for (const auto& [kind, count] : filesPerTool)
        filesScanned += count;
    snapshot.aggregates =
        Aggregates(snapshot.sessions, filesScanned, Aggregates::cycleAnchorFrom(snapshot.sessions));
    snapshot.filesPerTool = std::move(filesPerTool);
    snapshot.threadNames = threadNames_;
    snapshot.generatedAt = clock_();
    return snapshot;
}

/// Every usable session, the latest first, and what the states tell beside. Only states that have changed
/// since are finalised anew. No file is finished here, so what a parser holds open isn't in the result.
/// Whether the agents' format has changed is asked of all states of the last two weeks, those included that
/// make no session.
void Engine::publishSessions(Snapshot& snapshot) {
    auto& ids = snapshot.sessionIDs;
    auto place = ids.end();  // behind the id before; the paths of each map are in the order of the ids
    const auto publish = [&](const std::string& path, SessionPointer session, std::string id) {
        snapshot.sessions.push_back(std::move(session));
        place = std::next(ids.insert_or_assign(place, path, std::move(id)));
    };
    const Instant firstReported = clock_() - formatHealthSpan;
    FormatHealth::Report report;
    for (auto& [kind, logs] : live_)
        for (auto& [path, log] : logs) {
            snapshot.malformedLines = checkedAdd(snapshot.malformedLines, log->malformedLines());
            if (log->lastTs().value_or(distantPast) >= firstReported) log->reportTo(report);
            if (auto session = log->session(path)) publish(path, std::move(session), log->sessionID(path));
        }
    for (const auto& [path, session] : restored_)
        publish(path, session, sessionIDForPath(path));
    snapshot.sessions = latestFirst(std::move(snapshot.sessions));
    snapshot.formatWarnings = FormatHealth::warnings(report.claude, report.codex);
}

std::optional<SessionResult> Engine::fullResult(const std::string& path) {
    return queue_.sync([&]() -> std::optional<SessionResult> {
        for (const auto& [kind, logs] : live_)
            if (const auto log = logs.find(path); log != logs.end()) return log->second->finished(path);
        if (!restored_.contains(path)) return std::nullopt;
        // The cache has lost what each request added most, and when those without a time were.
        const auto log = makeLiveLog(kindForPath(path).value_or(ToolKind::claudeCode));
        ReadScratch scratch;
        log->read(path, scratch);
        return log->finished(path);
    });
}

}  // namespace ledgerfern
