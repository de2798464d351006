#pragma once

#include <string_view>

#include "ClaudeCodeParser/State.h"

namespace ledgerfern::ClaudeCodeParser {

/// The label of the assistant's own text, which later requests read again. It counts no call.
inline constexpr std::string_view replayedLabel = "assistant output (replayed)";

/// Shares the pending request's tokens out: its input over all that it read first and all that it wrote, by
/// size; its output over what it wrote. Each share is rounded by itself, so they need not add up. Nothing
/// happens without a pending request.
void attributePending(const State& state, LabelStats& stats);

/// The label of the largest entry, the first of equal ones; `StringPool::none` where there is no entry.
StringPool::Index dominantLabel(const std::vector<ContextEntry>& entries);

}  // namespace ledgerfern::ClaudeCodeParser
