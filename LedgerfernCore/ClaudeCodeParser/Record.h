#pragma once

#include <string_view>

#include "ClaudeCodeParser/State.h"
#include "Foundation/JsonReader.h"

namespace ledgerfern::ClaudeCodeParser {

/// Applies one line that has the reader's padding behind it.
void applyPadded(std::string_view line, State& state, JsonReader& reader);

}  // namespace ledgerfern::ClaudeCodeParser
