#include "CommandLine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Analytics/Aggregates.h"
#include "Commands.h"
#include "Foundation/Check.h"
#include "Foundation/UnicodeText.h"
#include "Help.h"
#include "UsageRecords/TSDate.h"
#include "tool/TextOutput.h"

namespace {

using namespace ledgerfern;
using Arguments = std::vector<std::string>;

/// What an argument begins with that is to begin with the name of an option; the byte behind it chooses
/// which.
constexpr char optionMark = '\x01';

/// Between the arguments stand zero bytes, which no argument can hold.
Arguments argumentsOf(std::string_view bytes, const std::vector<OptionText>& options) {
    Arguments arguments;
    while (!bytes.empty()) {
        const std::string_view argument = bytes.substr(0, bytes.find('\0'));
        bytes.remove_prefix(std::min(bytes.size(), argument.size() + 1));
        if (argument.size() < 2 || argument[0] != optionMark) {
            arguments.emplace_back(argument);
            continue;
        }
        const auto choice = static_cast<std::uint8_t>(argument[1]);
        arguments.emplace_back(options[choice % options.size()].name).append(argument.substr(2));
    }
    return arguments;
}

/// One line, of text that no terminal obeys.
bool isOneLine(std::string_view text) {
    if (text.empty() || text.back() != '\n' || !isValidUtf8(text)) return false;
    text.remove_suffix(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(text[i]);
        if (byte < 0x20 || byte == 0x7F) return false;
        if (byte == 0xC2 && static_cast<std::uint8_t>(text[i + 1]) < 0xA0) return false;
        for (const char* mark : {"\u2028", "\u2029", "\u202A", "\u202D", "\u202E", "\u2066", "\u2069"})
            if (text.substr(i).starts_with(mark)) return false;
    }
    return true;
}

/// Only where nothing is run: where the arguments are wrong, or ask for help.
void checkRun(const Arguments& arguments, int status, std::size_t columns) {
    TextConsole texts(columns);
    check(runCommandLine(arguments, texts.console) == status, "another exit status");
    const std::string out = texts.out.text(), err = texts.err.text();
    if (status == ExitStatus::ok) {
        check(!out.empty() && out.back() == '\n' && err.empty(), "no help");
    } else {
        check(out.empty() && isOneLine(err), "the error is no single line");
        check(err.starts_with("ledgerfern-cli: ") && err.size() > 20, "the error says nothing");
    }
}

void checkValues(const Usage& usage, const Options& options) {
    for (const auto* roots : {&options.codexRoots, &options.claudeRoots})
        check(std::find(roots->begin(), roots->end(), "") == roots->end(), "a folder without a name");
    check(!options.now || TSDate::isWithinCalendar(*options.now), "an instant outside the calendar");
    check(!options.limit || *options.limit >= 1, "a limit of nothing");
    check(options.sessions >= 1 && options.sessions <= 5000, "too many sessions or none");
    check(!options.outFile || !options.outFile->empty(), "a file without a name");
    check(usage.operand.empty() == options.operand.empty(), "an operand too many or too few");
    const std::string scope = options.scope.value_or("all");
    check(scope == "today" || scope == "cycle" || scope == "all" || Aggregates::cycleRange(scope),
          "an unknown scope");
}

void checkHelp(const Command& command, std::size_t columns) {
    checkRun({std::string(command.usage.command), "--help"}, ExitStatus::ok, columns);
    const std::size_t width = std::max<std::size_t>(columns, 20);
    const std::string text = commandHelp(command, width);
    for (const OptionText& option : command.usage.options())
        check(text.find(option.name) != std::string::npos, "an option isn't explained");
    for (const std::string& help : {text, programHelp(width)})
        for (std::size_t start = 0; start < help.size(); start = help.find('\n', start) + 1)
            check(displayWidth(help.substr(start, help.find('\n', start) - start)) <= width,
                  "a line of the help is too long");
}

}  // namespace

/// The first byte chooses a command, the second the width of a terminal, and the rest are arguments: they are
/// options, or are wrong in one line that says so. Without arguments the command's help is looked at.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const Command& command = commands()[data[0] % commands().size()];
    const std::size_t columns = data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const Arguments arguments = argumentsOf(bytes, command.usage.options());

    const auto read = readOptions(command.usage, arguments);
    Arguments line = arguments;
    line.insert(line.begin(), std::string(command.usage.command));
    if (const auto* options = std::get_if<Options>(&read)) {
        if (options->showsHelp || options->showsVersion)
            checkRun(line, ExitStatus::ok, columns);
        else
            checkValues(command.usage, *options);
    } else {
        checkRun(line, ExitStatus::badUsage, columns);
    }
    if (!arguments.empty() && !arguments[0].starts_with('-') && !findCommand(arguments[0]))
        checkRun(arguments, ExitStatus::badUsage, columns);
    if (arguments.empty()) checkHelp(command, columns);
    return 0;
}
