#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "DemoRandom.h"

namespace ledgerfern {

/// What an agent can do in a request.
enum class DemoActionKind {
    say,        ///< Speak to the user; no tool.
    shell,      ///< Run a command.
    scripting,  ///< Run a script of tool calls: Codex alone; a shell command elsewhere.
    tool,       ///< Use a tool of its own, such as reading a file.
    search,     ///< Search the web.
    mcp,        ///< Call a tool of an MCP server.
};

/// A shell command with lines of what it may print. "{f}" stands for a file, "{n}" for a number, "{w}" for a
/// word.
struct DemoCommandLine {
    std::string_view text;
    std::span<const std::string_view> output;
};

/// A tool of an MCP server.
struct DemoServerTool {
    std::string_view server;
    std::string_view tool;
    std::string_view argument;  ///< The name of its one argument,
    std::string_view value;     ///< and what is given for it.
    std::int64_t lines;         ///< Of its answer, about.
    std::span<const std::string_view> output;
};

DemoActionKind pickAction(DemoRandom& random);
const DemoCommandLine& pickCommandLine(DemoRandom& random);
const DemoServerTool& pickServerTool(DemoRandom& random);

/// The template with all that stands in braces filled in.
std::string filledIn(std::string_view text, DemoRandom& random);
/// So many lines, each filled in from one of the templates.
std::string filledInLines(std::span<const std::string_view> templates, std::int64_t count,
                          DemoRandom& random);

/// Lines of program text, which most files hold.
std::span<const std::string_view> codeLines();
/// What an agent tells the user while it works, and when it is done.
std::span<const std::string_view> remarks();
std::span<const std::string_view> summaries();
/// What it thinks.
std::span<const std::string_view> thoughts();
/// What it asks another agent, and what that finds out.
std::span<const std::string_view> errands();
/// A file of a project.
std::string_view pickFile(DemoRandom& random);

}  // namespace ledgerfern
