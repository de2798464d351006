#include <algorithm>

#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "Foundation/Pieces.h"
#include "Parsing/ShellCommands.h"

namespace ledgerfern::ClaudeCodeParser {

namespace {

bool isWhiteSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

/// True for what only prepares a command: a change of folder, a bare variable assignment.
bool isSetup(std::string_view statement) {
    if (statement.starts_with("cd") && (statement.size() == 2 || isWhiteSpace(statement[2]))) return true;
    return RolloutParser::isAssignment(statement) &&
           std::none_of(statement.begin(), statement.end(), isWhiteSpace);
}

/// Takes the next statement off a command: up to a line feed, a ";" or "&&", whatever the quotes.
std::string_view takeStatement(std::string_view& command) {
    std::size_t end = 0;
    while (end < command.size() && command[end] != '\n' && command[end] != ';' &&
           !command.substr(end).starts_with("&&"))
        ++end;
    const std::string_view statement = command.substr(0, end);
    command.remove_prefix(std::min(command.size(), end + (command.substr(end).starts_with('&') ? 2 : 1)));
    return withoutBlanks(statement);
}

/// The category of the first statement that isn't mere preparation.
std::optional<std::string> commandLabel(std::string_view command) {
    while (!command.empty()) {
        const std::string_view statement = takeStatement(command);
        if (statement.empty() || isSetup(statement)) continue;
        auto category = RolloutParser::shellCategoryLabel(statement);
        if (!category) return std::nullopt;
        return std::move(category->label);
    }
    return std::nullopt;
}

/// The label of a name such as "mcp__server__tool".
std::optional<std::string> mcpLabel(std::string_view name) {
    constexpr std::string_view prefix = "mcp__";
    if (!name.starts_with(prefix)) return std::nullopt;
    name.remove_prefix(prefix.size());
    const std::size_t end = name.find("__");
    if (end == std::string_view::npos) return std::nullopt;
    std::string label = "mcp:";
    return std::move(label.append(name.substr(0, end)).append("/").append(name.substr(end + 2)));
}

}  // namespace

std::string toolLabel(std::string_view name, const std::optional<JsonObject>& input) {
    if (auto label = mcpLabel(name)) return std::move(*label);
    if (name == "Bash" && input)
        if (const auto command = asString(member(*input, "command")))
            if (auto label = commandLabel(*command)) return std::move(*label);
    return "tool:" + std::string(name);
}

}  // namespace ledgerfern::ClaudeCodeParser
