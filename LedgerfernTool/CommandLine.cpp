#include "CommandLine.h"

#include <algorithm>
#include <optional>
#include <variant>

#include "Commands.h"
#include "Help.h"
#include "Quoted.h"

namespace ledgerfern {

namespace {

/// True where an option of that name takes the next argument for its value.
bool takesNext(std::string_view argument) {
    const auto& options = commonOptions();
    return std::any_of(options.begin(), options.end(),
                       [argument](const OptionText& o) { return o.name == argument && !o.value.empty(); });
}

bool isCommonOption(std::string_view argument) {
    const std::string_view name = argument.substr(0, argument.find('='));
    const auto& options = commonOptions();
    return name == "-h" || std::any_of(options.begin(), options.end(),
                                       [name](const OptionText& o) { return o.name == name; });
}

/// Where the command stands: the first argument that is neither an option nor an option's value. Absent where
/// there is none, or an option before it isn't one of those that every command knows.
std::optional<std::size_t> commandPlace(const std::vector<std::string>& arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!argument.starts_with('-')) return i;
        if (!isCommonOption(argument)) return std::nullopt;
        if (takesNext(argument)) ++i;
    }
    return std::nullopt;
}

std::string unknownCommand(std::string_view name) {
    std::vector<std::string_view> names;
    for (const Command& command : commands())
        names.push_back(command.usage.command);
    const std::string start = "there is no command " + inQuotes(name) + "; ";
    if (const auto meant = nearMiss(name, names)) return start + "did you mean " + inQuotes(*meant) + "?";
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i)
        list += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + std::string(names[i]);
    return start + "those there are: " + list;
}

int run(const Command& command, bool isNamed, const std::vector<std::string>& arguments, Console& console) {
    const auto read = readOptions(command.usage, arguments);
    if (const auto* error = std::get_if<UsageError>(&read))
        return console.fail(ExitStatus::badUsage, error->sentence);
    const Options& options = std::get<Options>(read);
    const std::size_t width = console.width();
    if (options.showsHelp) return console.print(isNamed ? commandHelp(command, width) : programHelp(width));
    if (options.showsVersion) return console.print(LEDGERFERN_VERSION "\n");
    return command.run(options, console);
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments, Console& console) {
    const auto place = commandPlace(arguments);
    if (!place) return run(commands().front(), false, arguments, console);
    const std::string& name = arguments[*place];
    const Command* const command = findCommand(name);
    if (!command) return console.fail(ExitStatus::badUsage, unknownCommand(name));
    std::vector<std::string> rest = arguments;
    rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(*place));
    return run(*command, true, rest, console);
}

}  // namespace ledgerfern
