#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The smoke alarm for a change of the agents' log formats: parsing doesn't fail then, it stops finding token
/// counts, and the numbers drift towards zero without a sign.
namespace ledgerfern::FormatHealth {

struct ClaudeEntry {
    std::int64_t requests = 0;      ///< Requests that were counted.
    std::int64_t withoutUsage = 0;  ///< Assistant records without usable token counts.
};

struct CodexEntry {
    bool metaSet = false;            ///< The file was understood as a session.
    bool sawRequests = false;        ///< Token counts were read from it.
    std::int64_t responseItems = 0;  ///< Signs of activity.
};

/// The sessions to look at.
struct Report {
    std::vector<ClaudeEntry> claude;
    std::vector<CodexEntry> codex;
};

/// A sentence for each agent whose recent sessions look as if the format had changed, Claude Code's first;
/// empty when nothing is wrong.
std::vector<std::string> warnings(std::span<const ClaudeEntry> claude, std::span<const CodexEntry> codex);

}  // namespace ledgerfern::FormatHealth
