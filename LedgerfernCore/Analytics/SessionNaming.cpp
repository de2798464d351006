#include "Analytics/SessionNaming.h"

namespace ledgerfern {

namespace {

/// Null where the map has no name, or an empty one, under the key.
const std::string* nonEmpty(const std::map<std::string, std::string>& names, const std::string& key) {
    const auto entry = names.find(key);
    return entry == names.end() || entry->second.empty() ? nullptr : &entry->second;
}

}  // namespace

std::string_view SessionKind::label(const SessionResult& session) {
    if (session.tool == ToolKind::claudeCode) return session.source.isSubagent ? claudeSubagent : claude;
    if (session.source.isGuardian || session.model == "codex-auto-review") return autoReview;
    if (session.source.isSubagent || session.source.nickname) return namedAgent;
    return main;
}

std::string SessionNaming::displayName(const SessionResult& session,
                                       const std::map<std::string, std::string>& ids,
                                       const std::map<std::string, std::string>& names) {
    if (session.source.isGuardian) return "guardian (subagent)";
    if (const auto* name = nonEmpty(names, session.path)) return *name;
    if (const auto id = ids.find(session.path); id != ids.end())
        if (const auto* name = nonEmpty(names, id->second)) return *name;
    if (session.firstMessage) return *session.firstMessage;
    if (session.source.nickname) return "agent " + *session.source.nickname;
    return session.project;
}

}  // namespace ledgerfern
