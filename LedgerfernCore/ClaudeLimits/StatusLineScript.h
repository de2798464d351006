#pragma once

#include <string_view>

namespace ledgerfern::ClaudeStatusLine {

/// The script's lines that show the limits where the user has no command of their own: they differ in the
/// program that takes values out of JSON, which is one that the platform has. They end with a line feed.
extern const std::string_view ownLine;

}  // namespace ledgerfern::ClaudeStatusLine
