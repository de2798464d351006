#pragma once

#include <string>
#include <string_view>

#include "Foundation/AtomicWrite.h"
#include "Foundation/Result.h"

/// Connects Ledgerfern to Claude Code's rate limits: a script in front of the user's status-line command
/// saves what Claude Code gives it (`ClaudeStatus` reads that), and then runs the user's own command with the
/// same input, so that the status line looks as before.
///
/// The settings file belongs to somebody else. So all of its other settings are kept, it is copied once
/// before the first change, one that can't be understood is left as it is, and the change can be undone. It
/// is replaced whole or not at all; where it is a link, what it leads to is replaced, and its permissions
/// stay. Of two programs that change it at once the last wins.
///
/// Paths are absolute; a support directory with a quotation mark in its path isn't handled. One whose path
/// isn't UTF-8 can't be named in the settings, and isn't connected.
namespace ledgerfern::ClaudeStatusLine {

inline constexpr std::string_view scriptName = "claude-statusline.sh";  ///< In the support directory.
/// The user's former status-line command, in the support directory; empty where there was none.
inline constexpr std::string_view originalName = "claude-statusline-original";
/// What the settings file's first state is kept under: its own name and this.
inline constexpr std::string_view backupExtension = ".ledgerfern-backup";

/// Claude Code's settings: ".claude/settings.json" below the home directory.
std::string defaultSettingsPath();

/// The status-line command that runs the script; its presence is how the connection is known.
std::string wrapperCommand(const std::string& supportDirectory);
/// The script's text, which needs bash, and on Linux `jq` to show limits where the user has no command.
std::string script(const std::string& supportDirectory);

/// False too where the settings can't be read.
bool isInstalled(const std::string& settingsPath, const std::string& supportDirectory);

/// Puts the script in front of the user's command. Once that is done, only refreshes the script. What was
/// done before a failure stays, and does no harm: trying again goes on from there.
Result install(const std::string& settingsPath, const std::string& supportDirectory);
/// Puts the user's command back, or takes the whole "statusLine" out where there was none. Nothing happens
/// where the status line isn't ours.
Result uninstall(const std::string& settingsPath, const std::string& supportDirectory);

/// The same, with the system calls of their writing.
Result install(const std::string& settingsPath, const std::string& supportDirectory, WriteSteps& steps);
Result uninstall(const std::string& settingsPath, const std::string& supportDirectory, WriteSteps& steps);

}  // namespace ledgerfern::ClaudeStatusLine
