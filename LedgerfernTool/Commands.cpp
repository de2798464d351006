#include "Commands.h"

namespace ledgerfern {

namespace {

std::vector<OptionText> with(std::vector<OptionText> options, const std::vector<OptionText>& more) {
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

}  // namespace

const std::vector<Command>& commands() {
    static const std::vector<Command> all = {
        {{"report", {}, ""},
         "Limits, today, and all usage by project, by model, by agent and by day",
         "ledgerfern-cli report --codex ~/backup/.codex/sessions",
         runReport},
        {{"limits", {}, ""},
         "The rate limits: used, resets, as of when",
         "ledgerfern-cli limits --color always",
         runLimits},
        {{"session", {}, "PATH|ID"},
         "The last 400 requests of one session",
         "ledgerfern-cli session 019f53ae",
         runSession},
        {{"parity", {}, ""},
         "The core numbers as canonical JSON, to compare two builds",
         "ledgerfern-cli parity --finish > parity.json",
         runParity},
        {{"dump",
          with(scopeOptions(Scope::all),
               {{"--full", "", "Complete each session by what its end holds open."},
                {"--project", "NAME", "Derive the page of that project too."},
                {"--week", "KEY", "Derive that page with this ISO week, such as 2026-W09."}}),
          ""},
         "Everything that one scan found, as one JSON document",
         "ledgerfern-cli dump --now 1772409600 > usage.json",
         runDump},
    };
    return all;
}

const Command* findCommand(std::string_view name) {
    for (const Command& command : commands())
        if (command.usage.command == name) return &command;
    return nullptr;
}

}  // namespace ledgerfern
