#include "Commands.h"

namespace ledgerfern {

namespace {

template <class Item>
std::vector<Item> with(std::vector<Item> items, const std::vector<Item>& more) {
    items.insert(items.end(), more.begin(), more.end());
    return items;
}

/// Of a command whose numbers are compared.
constexpr OptionText builtInPricesOnly = {"--default-prices", "",
                                          "Changes nothing: costs are always by the built-in list prices."};

/// What a command for people knows besides.
std::vector<OptionText> forPeople(const std::vector<OptionText>& more = {}) {
    return with(
        with(scopeOptions(ScopeName::cycle), {{"--json", "", "Write the same as one JSON document."}}), more);
}

std::vector<Command> commandsForPeople() {
    return {
        {{"report", forPeople(), ""},
         "Limits, today, and a scope by project, by model, by agent and by day; what fills the contexts, and "
         "the insights",
         "ledgerfern-cli report --scope all --codex ~/backup/.codex/sessions",
         runReport},
        {{"sessions",
          forPeople({{"--sort", "ORDER", "Sort by tokens, cost, recent or name; tokens without it."},
                     {"--limit", "N", "List N at most."}}),
          ""},
         "One line a session in scope",
         "ledgerfern-cli sessions --sort recent --limit 20",
         runSessions},
        {{"projects", forPeople(), ""},
         "One line a project in scope",
         "ledgerfern-cli projects --scope today",
         runProjects},
        {{"project", forPeople(), "NAME"},
         "One project: totals, days, sessions",
         "ledgerfern-cli project web-app --scope all",
         runProject},
        {{"daily",
          forPeople({{"--by", "UNIT", "A line a day or a week; without it, a week with --scope all."}}), ""},
         "One line a day, with cost",
         "ledgerfern-cli daily --scope all --by day",
         runDaily},
        {{"cycles", forPeople(), ""},
         "All known cycles, whatever the scope: key, first and last day, tokens, cost",
         "ledgerfern-cli cycles --tool claude",
         runCycles},
        {{"insights", forPeople(), ""},
         "What costs tokens in scope, and what to change",
         "ledgerfern-cli insights --scope all",
         runInsights},
        {{"limits", forPeople(), ""},
         "The rate limits of both agents, whatever the scope: used, resets, as of when",
         "ledgerfern-cli limits --color always",
         runLimits},
        {{"session", forPeople(), "PATH|ID", true, CacheUse::never},
         "The last 400 requests of one session, whatever the scope",
         "ledgerfern-cli session 019f53ae",
         runSession},
    };
}

std::vector<Command> commandsForFiles() {
    return {
        {{"export",
          with(scopeOptions(ScopeName::all),
               {{"-o", "FILE", "Write into FILE, whole or not at all, instead of to standard output."}}),
          "csv|json", true, CacheUse::named},
         "The sessions in scope as a table or a document",
         "ledgerfern-cli export csv -o sessions.csv",
         runExport},
        {{"parity", {builtInPricesOnly}, "", true, CacheUse::named},
         "The core numbers as canonical JSON, to compare two builds",
         "ledgerfern-cli parity --finish > parity.json",
         runParity},
        {{"dump",
          with(scopeOptions(ScopeName::all),
               {{"--full", "", "Complete each session by what its end holds open."},
                {"--status", "FILE",
                 "Merge Claude's limits, as the application does, from the status file that its status-line "
                 "script keeps."},
                {"--project", "NAME", "Derive the page of that project too."},
                {"--week", "KEY", "Derive that page with this ISO week, such as 2026-W09."},
                builtInPricesOnly}),
          "", true, CacheUse::named},
         "Everything that one scan found, as one JSON document",
         "ledgerfern-cli dump --now 1772409600 > usage.json",
         runDump},
        {{"watch", scopeOptions(ScopeName::cycle), "", true, CacheUse::usual, true},
         "The report, refreshed as the logs grow, until interrupted",
         "ledgerfern-cli watch --scope today",
         runWatch},
        {{"demo",
          {{"--seed", "N", "Make up other logs: each N gives its own, and the same always. 1 without it."},
           {"--now", "SECONDS", "Let the logs end at this instant, in seconds since 1970, instead of now."},
           {"--sessions", "N", "Make up so many sessions, those of sub-agents included; 120 without it."}},
          "DIR",
          false,
          CacheUse::never},
         "A home folder with made-up logs of both agents and a history, to try things on",
         "ledgerfern-cli demo /tmp/demo --seed 7",
         runDemo},
    };
}

}  // namespace

const std::vector<Command>& commands() {
    static const std::vector<Command> all = with(commandsForPeople(), commandsForFiles());
    return all;
}

const Command* findCommand(std::string_view name) {
    for (const Command& command : commands())
        if (command.usage.command == name) return &command;
    return nullptr;
}

}  // namespace ledgerfern
