#include "Engine/FormatHealth.h"

#include <algorithm>
#include <string_view>

namespace ledgerfern::FormatHealth {

namespace {

bool isSuspect(const ClaudeEntry& session) {
    // A handful of replies without counts is normal, and some beside plenty of counted requests are too.
    return session.withoutUsage >= 4 && session.withoutUsage - session.requests > session.requests;
}

bool isSuspect(const CodexEntry& session) {
    return session.metaSet && !session.sawRequests && session.responseItems >= 10;
}

template <class Entry>
void warn(std::vector<std::string>& warnings, std::span<const Entry> sessions, std::string_view tool,
          std::string_view trouble) {
    const auto count = std::count_if(sessions.begin(), sessions.end(),
                                     [](const Entry& session) { return isSuspect(session); });
    if (count == 0) return;
    std::string& text = warnings.emplace_back(std::to_string(count));
    text.append(" recent ").append(tool).append(count == 1 ? " session" : " sessions");
    text.append(" have ").append(trouble).append(" token counts Ledgerfern can read — ");
    text.append(tool).append(" may have changed its log format.");
}

}  // namespace

std::vector<std::string> warnings(std::span<const ClaudeEntry> claude, std::span<const CodexEntry> codex) {
    std::vector<std::string> found;
    warn(found, claude, "Claude Code", "replies without");
    warn(found, codex, "Codex", "activity but no");
    return found;
}

}  // namespace ledgerfern::FormatHealth
