#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/JsonReader.h"

namespace ledgerfern::RolloutParser {

/// The label under which a shell command's tokens are counted.
struct ShellCategory {
    std::string label;     ///< "Shell · Git · push".
    bool isWrite = false;  ///< A git command that changes the repository; no other command ever.

    bool operator==(const ShellCategory&) const = default;
};

/// The command text of a tool call's payload; absent where it holds none. A payload whose "arguments" are
/// JSON text has it read by `argumentsReader`, which can't be the reader that the payload lives in.
std::optional<std::string> commandString(const std::optional<JsonObject>& payload,
                                         JsonReader& argumentsReader);

/// True for "NAME=...", NAME being letters, digits and "_", no digit first.
bool isAssignment(std::string_view token);

/// A short, stable category for a command text, from one command word and at most one argument. Deliberately
/// coarse: shell syntax isn't read, quotes aren't respected, and only the first command of a chain counts.
/// Absent without a command, and for one of variable assignments or blanks alone.
std::optional<ShellCategory> shellCategoryLabel(std::optional<std::string_view> command);

}  // namespace ledgerfern::RolloutParser
