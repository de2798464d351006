#pragma once

#include <map>
#include <string>
#include <string_view>

#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// The labels of the five kinds of session.
namespace SessionKind {

inline constexpr std::string_view main = "Codex";
inline constexpr std::string_view namedAgent = "Codex sub-agents";
inline constexpr std::string_view autoReview = "Codex auto-review";
inline constexpr std::string_view claude = "Claude Code";
inline constexpr std::string_view claudeSubagent = "Claude Code sub-agents";

/// One of the five. Model and nickname matter for Codex alone.
std::string_view label(const SessionResult& session);

}  // namespace SessionKind

namespace SessionNaming {

/// What a session is called on every screen: a guardian's fixed name, the user's name for the log path or for
/// its thread, the first message, the agent's nickname, or the project. `ids` maps log paths to thread ids,
/// `names` log paths or thread ids to names; an empty name is none.
std::string displayName(const SessionResult& session, const std::map<std::string, std::string>& ids,
                        const std::map<std::string, std::string>& names);

}  // namespace SessionNaming

}  // namespace ledgerfern
