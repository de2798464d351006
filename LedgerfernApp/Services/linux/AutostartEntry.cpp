#include "Services/linux/AutostartEntry.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "Foundation/AtomicWrite.h"
#include "Foundation/Files.h"
#include "Foundation/Locations.h"
#include "Foundation/Paths.h"

namespace ledgerfern {

namespace {

// Writing ---------------------------------------------------------------------------------------------------

// What a string value writes as a backslash and a letter; the blank only where it is the first character.
constexpr std::string_view escapedCharacters = "\n\t\r\\ ";
constexpr std::string_view escapeLetters = "ntr\\s";

/// A text that begins with no blank, as a string value is written.
std::string stringValue(std::string_view text) {
    std::string value;
    for (const char c : text) {
        const auto escape = escapedCharacters.find(c);
        if (escape == std::string_view::npos || c == ' ')
            value += c;
        else
            value += {'\\', escapeLetters[escape]};
    }
    return value;
}

/// As one argument of a command line is written, before the command line is written as a string.
std::string quotedArgument(std::string_view text) {
    constexpr std::string_view escaped = "\"`$\\";
    std::string argument = "\"";
    for (const char c : text) {
        if (escaped.find(c) != std::string_view::npos) argument += '\\';
        if (c == '%') argument += '%';  // alone it would stand for a file to open
        argument += c;
    }
    return argument + "\"";
}

std::string entry(const std::string& executable) {
    std::string text =
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Ledgerfern\n"
        "Comment=Usage of Codex and Claude Code\n"
        "Icon=ledgerfern\n"
        "Terminal=false\n";
    text += "Exec=" + stringValue(quotedArgument(executable)) + "\n";
    text += "TryExec=" + stringValue(executable) + "\n";
    return text;
}

// Reading ---------------------------------------------------------------------------------------------------

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view nextLine(std::string_view& text) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return trimmed(line);
}

/// A key's value in the group that describes the entry, as it is written; absent where it has none.
std::optional<std::string_view> valueOf(std::string_view key, std::string_view text) {
    bool isInGroup = false;
    while (!text.empty()) {
        const auto line = nextLine(text);
        if (line.starts_with('[')) isInGroup = line == "[Desktop Entry]";
        const auto equals = line.find('=');
        if (!isInGroup || equals == std::string_view::npos) continue;
        if (trimmed(line.substr(0, equals)) == key) return trimmed(line.substr(equals + 1));
    }
    return std::nullopt;
}

/// The text of a string value; what is no escape stands for itself.
std::string textOf(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const bool mayEscape = value[i] == '\\' && i + 1 < value.size();
        const auto escape = mayEscape ? escapeLetters.find(value[i + 1]) : std::string_view::npos;
        text += escape == std::string_view::npos ? value[i] : escapedCharacters[escape];
        if (escape != std::string_view::npos) ++i;
    }
    return text;
}

bool canRun(const std::string& program) {
    return !program.starts_with('/') || ::access(program.c_str(), X_OK) == 0;
}

}  // namespace

std::string AutostartEntry::defaultFolder() {
    const char* const chosen = std::getenv("XDG_CONFIG_HOME");
    const bool isValid = chosen != nullptr && *chosen == '/';
    return (isValid ? std::string(chosen) : homeDirectory() + "/.config") + "/autostart";
}

AutostartEntry::AutostartEntry(const std::string& folder, std::string executable)
    : path_(folder + "/ledgerfern.desktop"), executable_(std::move(executable)) {}

bool AutostartEntry::isEnabled() const {
    const auto text = readWholeFile(path_);
    if (!text || !valueOf("Exec", *text)) return false;
    const bool isSwitchedOff =
        valueOf("Hidden", *text) == "true" || valueOf("X-GNOME-Autostart-enabled", *text) == "false";
    return !isSwitchedOff && canRun(textOf(valueOf("TryExec", *text).value_or("")));
}

bool AutostartEntry::registerItem() {
    if (executable_.empty()) return false;
    std::error_code ignored;  // without the folder, the writing fails
    std::filesystem::create_directories(parentPath(path_), ignored);
    return bool(writeAtomically(path_, entry(executable_)));
}

bool AutostartEntry::unregisterItem() {
    return ::unlink(path_.c_str()) == 0 || errno == ENOENT;
}

}  // namespace ledgerfern
