#include <algorithm>
#include <limits>

#include "Engine/Engine.h"
#include "Engine/FormatHealth.h"
#include "Foundation/Arithmetic.h"

namespace ledgerfern {

namespace {

constexpr Instant formatHealthSpan = 1'209'600;  // 14 days
constexpr Instant distantPast = -std::numeric_limits<Instant>::infinity();

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
    for (const auto& [kind, logs] : live_)
        for (const auto& [path, log] : logs)
            snapshot.malformedLines = checkedAdd(snapshot.malformedLines, log->malformedLines());
    snapshot.sessions = publishSessions(snapshot.sessionIDs);
    std::int64_t filesScanned = 0;
    for (const auto& [kind, count] : filesPerTool)
        filesScanned += count;
    snapshot.aggregates =
        Aggregates(snapshot.sessions, filesScanned, Aggregates::cycleAnchorFrom(snapshot.sessions));
    snapshot.filesPerTool = std::move(filesPerTool);
    snapshot.formatWarnings = formatWarnings(clock_());
    snapshot.threadNames = threadNames_;
    snapshot.generatedAt = clock_();
    return snapshot;
}

/// Every usable session, the latest first. Only states that have changed since are finalised anew. No file is
/// finished here, so what a parser holds open isn't in the result.
SessionList Engine::publishSessions(std::map<std::string, std::string>& sessionIDs) {
    SessionList sessions;
    for (auto& [kind, logs] : live_) {
        sessions.reserve(sessions.size() + logs.size());
        for (auto& [path, log] : logs) {
            SessionPointer session = log->session(path);
            if (!session) continue;
            sessions.push_back(std::move(session));
            sessionIDs.insert_or_assign(path, log->sessionID(path));
        }
    }
    for (const auto& [path, session] : restored_) {
        sessions.push_back(session);
        sessionIDs.insert_or_assign(path, sessionIDForPath(path));
    }
    std::stable_sort(sessions.begin(), sessions.end(), [](const SessionPointer& a, const SessionPointer& b) {
        return a->lastTs.value_or(distantPast) > b->lastTs.value_or(distantPast);
    });
    return sessions;
}

/// Looks at all states of the last two weeks, those included that make no session.
std::vector<std::string> Engine::formatWarnings(Instant now) const {
    FormatHealth::Report report;
    for (const auto& [kind, logs] : live_)
        for (const auto& [path, log] : logs)
            if (log->lastTs().value_or(distantPast) >= now - formatHealthSpan) log->reportTo(report);
    return FormatHealth::warnings(report.claude, report.codex);
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
