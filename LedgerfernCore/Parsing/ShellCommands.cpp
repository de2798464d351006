#include "Parsing/ShellCommands.h"

#include <algorithm>
#include <array>

#include "Foundation/Numbers.h"
#include "Foundation/Paths.h"
#include "Foundation/Pieces.h"
#include "Foundation/UnicodeText.h"
#include "Parsing/ShellCommandTable.h"

namespace ledgerfern::RolloutParser {

namespace {

constexpr std::array<std::string_view, 8> writeGitSubcommands = {"commit", "push",  "merge", "rebase",
                                                                 "reset",  "clean", "apply", "am"};

template <std::size_t Size>
bool isAmong(const std::array<std::string_view, Size>& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
bool startsName(char c) {
    return isLower(c) || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isToolScripting(std::string_view command) {
    constexpr std::array<std::string_view, 5> marks = {"await tools.", "nodeRepl", "mcp__node_repl",
                                                       "await browser.", "await chrome."};
    return std::any_of(marks.begin(), marks.end(),
                       [&](std::string_view mark) { return command.find(mark) != std::string_view::npos; });
}

/// The first command of a pipeline or chain.
std::string_view firstSegment(std::string_view command) {
    constexpr std::string_view separators = ";|&";
    const std::size_t start = command.find_first_not_of(separators);
    if (start == std::string_view::npos) return command;
    return command.substr(start, command.find_first_of(separators, start) - start);
}

/// True for 1 to 24 letters, digits, "_", ".", "+" and "-", a letter first.
bool isCommandWord(std::string_view word) {
    return !word.empty() && word.size() <= 24 && isLower(word.front()) &&
           std::all_of(word.begin(), word.end(), [](char c) {
               return isLower(c) || isDigit(c) || c == '_' || c == '.' || c == '+' || c == '-';
           });
}

std::string commandWord(std::string_view token) {
    return lowercased(lastPathComponent(token));
}

struct CommandLine {
    std::string word;
    std::string sub;  ///< The first argument; empty where there is none.
};

/// Absent where nothing is left behind the variable assignments.
std::optional<CommandLine> commandLine(std::string_view segment) {
    auto token = takePiece(segment, ' ');
    while (token && isAssignment(*token))
        token = takePiece(segment, ' ');
    if (!token) return std::nullopt;
    CommandLine line{commandWord(*token), {}};
    auto argument = takePiece(segment, ' ');
    if (line.word == "sudo" && argument) {
        line.word = commandWord(*argument);
        argument = takePiece(segment, ' ');
    }
    line.sub = lowercased(argument.value_or(std::string_view{}));
    return line;
}

std::string packageManagerLabel(const CommandLine& line) {
    constexpr std::array<std::string_view, 6> installs = {"install", "i", "ci", "uninstall", "add", "remove"};
    if (line.sub == "test") return "Shell · Tests";
    if (isAmong(installs, line.sub)) return "Shell · Package installs · " + line.word;
    return "Shell · Package scripts · " + line.word;
}

std::string label(ShellFamily family, const CommandLine& line) {
    switch (family) {
        case ShellFamily::builds:
            return "Shell · Builds · " + line.word;
        case ShellFamily::packageManager:
            return packageManagerLabel(line);
        case ShellFamily::tests:
            return "Shell · Tests";
        case ShellFamily::git:
            return "Shell · Git · " + (line.sub.empty() ? line.word : line.sub);
        case ShellFamily::reads:
            return "Shell · File & text reads · " + line.word;
        case ShellFamily::fileChanges:
            return "Shell · File changes";
        case ShellFamily::network:
            return "Shell · Network · " + line.word;
        case ShellFamily::packageInstalls:
            return "Shell · Package installs · " + line.word;
        case ShellFamily::scripts:
            return "Shell · Scripts & REPLs · " + line.word;
        case ShellFamily::system:
            return "Shell · System & apps";
        case ShellFamily::other:
            break;
    }
    return "Shell · Other commands · " + line.word;
}

std::string joinedStrings(const JsonArray& array) {
    std::string joined;
    bool isFirst = true;
    for (const JsonValue element : array) {
        const auto text = asString(element);
        if (!text) continue;
        if (!isFirst) joined += ' ';
        joined += *text;
        isFirst = false;
    }
    return joined;
}

/// Whether a JSON text may have a "cmd", which is told at once for most that have none; its letters may be
/// escaped.
bool mayHaveCommand(std::string_view text) {
    return text.find("cmd") != std::string_view::npos || text.find("\\u") != std::string_view::npos;
}

/// What holds the command: the payload's "input" of whatever type, or else the object that its "arguments"
/// are as JSON text.
OptionalJson commandSource(const JsonObject& payload, JsonReader& argumentsReader) {
    const auto [input, arguments] = members(payload, "input", "arguments");
    if (input) return input;
    const auto text = asString(arguments);
    if (!text || !mayHaveCommand(*text)) return std::nullopt;
    const OptionalJson decoded = argumentsReader.read(*text);
    return asObject(decoded) ? decoded : std::nullopt;
}

}  // namespace

bool isAssignment(std::string_view token) {
    const auto nameEnd =
        std::find_if_not(token.begin(), token.end(), [](char c) { return startsName(c) || isDigit(c); });
    return nameEnd != token.end() && *nameEnd == '=' && startsName(token.front());
}

std::optional<std::string> commandString(const std::optional<JsonObject>& payload,
                                         JsonReader& argumentsReader) {
    if (!payload) return std::nullopt;
    const OptionalJson source = commandSource(*payload, argumentsReader);
    if (const auto text = asString(source)) return std::string(*text);
    const auto object = asObject(source);
    if (!object) return std::nullopt;
    const OptionalJson command = member(*object, "cmd");
    if (const auto text = asString(command)) return std::string(*text);
    if (const auto array = asArray(command)) return joinedStrings(*array);
    return std::nullopt;
}

std::optional<ShellCategory> shellCategoryLabel(std::optional<std::string_view> command) {
    if (!command) return std::nullopt;
    if (isToolScripting(*command)) return ShellCategory{"Shell · Tool scripting"};
    const auto line = commandLine(firstSegment(*command));
    if (!line) return std::nullopt;
    if (!isCommandWord(line->word)) return ShellCategory{"Shell · Other commands"};
    const ShellFamily family = shellFamily(line->word);
    const bool isWrite = family == ShellFamily::git && isAmong(writeGitSubcommands, line->sub);
    return ShellCategory{label(family, *line), isWrite};
}

}  // namespace ledgerfern::RolloutParser
