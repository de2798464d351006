#pragma once

#include <rapidcheck.h>

#include <functional>
#include <map>
#include <string>

#include "Engine/Engine.h"
#include "RandomLogs.h"
#include "TempFolder.h"

namespace ledgerfern::test {

/// True for the requests that count; none (null) where whole sessions do.
using Keep = std::function<bool(const ExpectedRequest&)>;

struct Sums {
    UsageTotals totals;
    std::int64_t requests = 0;

    void add(const Sums& other) {
        totals.add(other.totals);
        requests += other.requests;
    }
    bool operator==(const Sums&) const = default;
};

inline Sums sumsOf(const ExpectedSession& session, const Keep& keep) {
    if (!keep) return {session.totals, static_cast<std::int64_t>(session.requests.size())};
    Sums sums;
    for (const ExpectedRequest& request : session.requests)
        if (keep(request)) sums.add({request.d, 1});
    return sums;
}

inline Keep within(const TimeRange& range) {
    return [range](const ExpectedRequest& request) { return request.ts && range.contains(*request.ts); };
}

inline bool hasTime(const ExpectedRequest& request) {
    return request.ts.has_value();
}

/// A home folder with logs of both agents, and what a scan finds there.
class World {
public:
    World() {
        for (int count = between(0, 4); count > 0; --count)
            take("codex/" + std::to_string(count), RandomCodexLog());
        for (int count = between(0, 4); count > 0; --count)
            take("claude/p/" + std::to_string(count), RandomClaudeLog());
        for (const auto& [name, text] : logs)
            home.write(name, text);
        snapshot = engine().rescan();
    }

    Engine engine() const {
        return Engine({{home / "codex", ToolKind::codex}, {home / "claude", ToolKind::claudeCode}},
                      fixedClock(firstLogInstant), 1);
    }
    const ExpectedSession& of(const SessionPointer& session) const { return sessions.at(session->path); }

    TempFolder home;
    std::map<std::string, std::string> logs;          // text by name
    std::map<std::string, ExpectedSession> sessions;  // by path
    Snapshot snapshot;

private:
    template <class Log>
    void take(const std::string& name, const Log& log) {
        logs[name + ".jsonl"] = log.text();
        if (!log.expected.requests.empty()) sessions[home / (name + ".jsonl")] = log.expected;
    }
};

}  // namespace ledgerfern::test
