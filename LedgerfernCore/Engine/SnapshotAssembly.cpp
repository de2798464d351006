#include <algorithm>
#include <limits>

#include "Engine/Engine.h"
#include "Engine/FormatHealth.h"
#include "RolloutParser/RolloutParser.h"

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
    for (const auto& [path, file] : codexFiles_)
        snapshot.malformedLines += file.state.malformedLines;
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
    sessions.reserve(codexFiles_.size());
    for (auto& [path, file] : codexFiles_) {
        if (!RolloutParser::usable(file.state)) continue;
        if (!file.published)
            file.published = std::make_shared<const SessionResult>(RolloutParser::finalize(file.state, path));
        sessions.push_back(file.published);
        sessionIDs.emplace_hint(sessionIDs.end(), path, file.sessionID);
    }
    std::stable_sort(sessions.begin(), sessions.end(), [](const SessionPointer& a, const SessionPointer& b) {
        return a->lastTs.value_or(distantPast) > b->lastTs.value_or(distantPast);
    });
    return sessions;
}

/// Looks at all states of the last two weeks, those included that make no session.
std::vector<std::string> Engine::formatWarnings(Instant now) const {
    std::vector<FormatHealth::CodexEntry> codex;
    for (const auto& [path, file] : codexFiles_) {
        const ParseState& state = file.state;
        if (state.lastTs.value_or(distantPast) >= now - formatHealthSpan)
            codex.push_back({state.metaSet, state.sawRequests, state.responseItems});
    }
    return FormatHealth::warnings({}, codex);
}

std::optional<SessionResult> Engine::fullResult(const std::string& path) {
    return queue_.sync([&]() -> std::optional<SessionResult> {
        const auto file = codexFiles_.find(path);
        if (file == codexFiles_.end()) return std::nullopt;
        ParseState state = file->second.state;
        RolloutParser::finishEOF(state);
        return RolloutParser::finalize(state, path);
    });
}

}  // namespace ledgerfern
