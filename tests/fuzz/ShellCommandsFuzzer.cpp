#include "Parsing/ShellCommands.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "Foundation/Check.h"
#include "Foundation/Paths.h"
#include "Foundation/UnicodeText.h"

namespace {

using namespace ledgerfern;
using Category = std::optional<RolloutParser::ShellCategory>;

constexpr std::string_view separators = ";|&";
constexpr std::string_view lowerCase = "abcdefghijklmnopqrstuvwxyz";
constexpr std::string_view upperCase = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view digits = "0123456789";

bool isAmong(std::string_view word, std::string_view words) {
    return (" " + std::string(words) + " ").find(" " + std::string(word) + " ") != std::string::npos;
}

bool consistsOf(std::string_view text, std::initializer_list<std::string_view> characters) {
    return std::all_of(text.begin(), text.end(), [&](char c) {
        return std::any_of(characters.begin(), characters.end(),
                           [c](std::string_view some) { return some.find(c) != std::string_view::npos; });
    });
}

// The rules, written down plainly.

bool hasToolMark(std::string_view command) {
    for (const char* mark : {"await tools.", "nodeRepl", "mcp__node_repl", "await browser.", "await chrome."})
        if (command.find(mark) != std::string_view::npos) return true;
    return false;
}

std::vector<std::string> split(std::string_view text, std::string_view characters) {
    std::vector<std::string> pieces(1);
    for (const char c : text)
        if (characters.find(c) == std::string_view::npos)
            pieces.back() += c;
        else
            pieces.emplace_back();
    std::erase_if(pieces, [](const std::string& piece) { return piece.empty(); });
    return pieces;
}

bool isAssignment(std::string_view token) {
    const std::size_t end = token.find('=');
    if (end == 0 || end == std::string_view::npos) return false;
    const std::string_view name = token.substr(0, end);
    return consistsOf(name, {lowerCase, upperCase, digits, "_"}) && !consistsOf(name.substr(0, 1), {digits});
}

std::string plainFamily(const std::string& word, const std::string& sub) {
    if (isAmong(word, "xcodebuild xcrun tuist gradle make cmake swift cargo")) return "Builds · " + word;
    if (isAmong(word, "npm pnpm yarn")) {
        if (sub == "test") return "Tests";
        return (!sub.empty() && isAmong(sub, "install i ci uninstall add remove") ? "Package installs · "
                                                                                  : "Package scripts · ") +
               word;
    }
    if (isAmong(word, "pytest vitest jest")) return "Tests";
    if (word == "git") return "Git · " + (sub.empty() ? "git" : sub);
    if (isAmong(word, "cat head tail ls find grep rg stat wc file du diff sort uniq awk sed which strings"))
        return "File & text reads · " + word;
    if (isAmong(word, "rm mv cp mkdir rmdir touch chmod chown ln tee plutil defaults")) return "File changes";
    if (isAmong(word, "curl wget ping ssh scp nc dig dns-sd")) return "Network · " + word;
    if (isAmong(word, "brew pod gem pip pip3")) return "Package installs · " + word;
    if (isAmong(word, "node python3 python ruby perl osascript")) return "Scripts & REPLs · " + word;
    if (isAmong(word,
                "ps kill killall launchctl scutil sysctl uptime hostname whoami open pbcopy pbpaste "
                "sw_vers uname"))
        return "System & apps";
    return "Other commands · " + word;
}

Category plainCategory(std::string_view command) {
    if (hasToolMark(command)) return RolloutParser::ShellCategory{"Shell · Tool scripting", false};
    const auto segments = split(command, separators);
    auto tokens = split(segments.empty() ? std::string(command) : segments[0], " ");
    while (!tokens.empty() && isAssignment(tokens[0]))
        tokens.erase(tokens.begin());
    if (tokens.empty()) return std::nullopt;
    std::string word = lowercased(lastPathComponent(tokens[0]));
    if (word == "sudo" && tokens.size() > 1) {
        tokens.erase(tokens.begin());
        word = lowercased(lastPathComponent(tokens[0]));
    }
    const std::string sub = tokens.size() > 1 ? lowercased(tokens[1]) : "";
    if (word.empty() || word.size() > 24 || !consistsOf(word.substr(0, 1), {lowerCase}) ||
        !consistsOf(word, {lowerCase, digits, "_.+-"}))
        return RolloutParser::ShellCategory{"Shell · Other commands", false};
    const bool isWrite =
        word == "git" && !sub.empty() && isAmong(sub, "commit push merge rebase reset clean apply am");
    return RolloutParser::ShellCategory{"Shell · " + plainFamily(word, sub), isWrite};
}

/// What a Claude Code session calls a Bash command.
std::string plainBashLabel(std::string command) {
    for (std::size_t at; (at = command.find("&&")) != std::string::npos;)
        command.replace(at, 2, "\n");
    for (std::string statement : split(command, "\n;")) {
        statement.erase(0, statement.find_first_not_of(" \t"));
        statement.erase(statement.find_last_not_of(" \t") + 1);
        const bool hasSpace = statement.find_first_of(" \t\n\v\f\r") != std::string::npos;
        const bool isChange = statement == "cd" ||
                              (statement.starts_with("cd") &&
                               std::string_view(" \t\n\v\f\r").find(statement[2]) != std::string_view::npos);
        if (statement.empty() || isChange || (isAssignment(statement) && !hasSpace)) continue;
        const Category category = plainCategory(statement);
        return category ? category->label : "tool:Bash";
    }
    return "tool:Bash";
}

// What follows from them.

void checkWhatDoesNotMatter(std::string_view command, const Category& category) {
    if (hasToolMark(command)) return;
    std::string louder(command);
    for (char& c : louder)
        if (const auto at = lowerCase.find(c); at != std::string_view::npos) c = upperCase[at];
    check(RolloutParser::shellCategoryLabel(louder) == category, "upper case matters");
    if (command.empty() || separators.find(command[0]) != std::string_view::npos) return;
    const std::string prepared = "  A_1=b " + std::string(command) + ";git push";
    if (!hasToolMark(prepared))
        check(RolloutParser::shellCategoryLabel(prepared) == category, "an assignment or a chain matters");
}

void checkPayload(std::string_view text) {
    JsonReader reader, argumentsReader;
    const auto payload = asObject(reader.read(text));
    const auto command = RolloutParser::commandString(payload, argumentsReader);
    if (!command) return;
    check(payload.has_value(), "a command out of nothing");
    check(RolloutParser::shellCategoryLabel(*command) == plainCategory(*command), "another category");
    check(isValidUtf8(*command), "a command that is no text");
}

std::string bashLabel(std::string_view command) {
    // As JSON text, in which only these need an escape.
    std::string text = "{\"command\":\"";
    for (const char c : command) {
        constexpr std::string_view hex = "0123456789abcdef";
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte < 0x20)
            text.append("\\u00").append({hex[byte / 16U], hex[byte % 16U]});
        else
            text.append(c == '"' || c == '\\' ? "\\" : "").append({c});
    }
    JsonReader reader;
    return ClaudeCodeParser::toolLabel("Bash", asObject(reader.read(text + "\"}")));
}

}  // namespace

/// Any bytes as a command have the category that the rules, told plainly, give them; and as a tool call's
/// payload.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view command(reinterpret_cast<const char*>(data), size);
    const Category category = RolloutParser::shellCategoryLabel(command);
    check(category == plainCategory(command), "another category than the rules'");
    check(category == RolloutParser::shellCategoryLabel(command), "another category the second time");
    checkWhatDoesNotMatter(command, category);
    checkPayload(command);
    if (!isValidUtf8(command)) return 0;
    if (category) check(isValidUtf8(category->label), "a label that is no text");
    check(bashLabel(command) == plainBashLabel(std::string(command)), "another label of a Bash command");
    return 0;
}
