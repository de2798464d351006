#include "Help.h"

#include <algorithm>
#include <vector>

#include "Foundation/UnicodeText.h"
#include "PrintableText.h"

namespace ledgerfern {

namespace {

struct Entry {
    std::string term;
    std::string meaning;
};

/// Terms and meanings side by side; where there is no room for that, one below the other.
std::string listed(const std::vector<Entry>& entries, std::size_t width) {
    constexpr std::size_t leastMeaningWidth = 30;
    std::size_t termWidth = 0;
    for (const Entry& entry : entries)
        termWidth = std::max(termWidth, displayWidth(entry.term));
    const std::size_t margin = 2 + termWidth + 2;
    std::string text;
    for (const Entry& entry : entries) {
        if (width < margin + leastMeaningWidth) {
            text += "  " + entry.term + "\n" + wrapped(entry.meaning, width, 6);
            continue;
        }
        const std::string meaning = wrapped(entry.meaning, width, margin);
        text += "  " + entry.term + meaning.substr(2 + displayWidth(entry.term));
    }
    return text;
}

std::vector<Entry> optionEntries(const std::vector<OptionText>& options) {
    std::vector<Entry> entries;
    entries.reserve(options.size());
    for (const OptionText& option : options)
        entries.push_back(
            {(option.name == "--help" ? "-h, " : "") + optionTerm(option), std::string(option.meaning)});
    return entries;
}

std::vector<Entry> commandEntries() {
    std::vector<Entry> entries;
    for (const Command& command : commands()) {
        std::string term(command.usage.command);
        if (!command.usage.operand.empty()) term += " " + std::string(command.usage.operand);
        entries.push_back({term, std::string(command.purpose)});
    }
    entries.front().meaning += "; runs where no command is named";
    return entries;
}

}  // namespace

std::string programHelp(std::size_t width) {
    std::string text = wrapped(
        "Usage analytics from the session logs of AI coding agents. The agents' files are only read, and "
        "nothing leaves this machine.",
        width, 0);
    text += "\n" + wrapped("Usage: ledgerfern-cli [COMMAND] [OPTIONS]", width, 0, 4) + "\nCommands:\n" +
            listed(commandEntries(), width);
    text += "\n" +
            wrapped(
                "Options of every command, but that watch has neither --now nor --finish, and demo only the "
                "last two:",
                width, 0) +
            listed(optionEntries(commonOptions()), width) + "\nExamples:\n";
    for (const Command& command : commands())
        text += wrapped(command.example, width, 2, 4);
    return text;
}

std::string commandHelp(const Command& command, std::size_t width) {
    std::string usage = "Usage: ledgerfern-cli " + std::string(command.usage.command);
    if (!command.usage.operand.empty()) usage += " " + std::string(command.usage.operand);
    return wrapped(std::string(command.purpose) + ".", width, 0) + "\n" +
           wrapped(usage + " [OPTIONS]", width, 0, 4) + "\nOptions:\n" +
           listed(optionEntries(command.usage.options()), width) + "\nExample:\n" +
           wrapped(command.example, width, 2, 4);
}

}  // namespace ledgerfern
