#include "CommandLine.h"

#include <optional>
#include <variant>

#include "Commands.h"
#include "Help.h"
#include "Quoted.h"

namespace ledgerfern {

namespace {

/// The option of that name, which some command knows; absent (null) where none does.
const OptionText* findOption(std::string_view name) {
    for (const Command& command : commands())
        for (const auto* options : {&command.usage.ownOptions, &commonOptions()})
            for (const OptionText& option : *options)
                if (option.name == name) return &option;
    return nullptr;
}

/// Where the command stands: the first argument that is neither an option nor an option's value. Behind an
/// option that no command knows, which may have a value, only a command's name is taken for one. Absent where
/// there is none.
std::optional<std::size_t> commandPlace(const std::vector<std::string>& arguments) {
    bool isSure = true;
    for (std::size_t i = 0; i < arguments.size() && arguments[i] != "--"; ++i) {
        const std::string_view argument = arguments[i];
        if (!argument.starts_with('-')) {
            if (isSure || findCommand(argument)) return i;
            continue;
        }
        const std::string_view name = argument.substr(0, argument.find('='));
        const OptionText* const option = findOption(name == "-h" ? "--help" : name);
        isSure = isSure && option;
        if (option && !option->value.empty() && name == argument) ++i;
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
