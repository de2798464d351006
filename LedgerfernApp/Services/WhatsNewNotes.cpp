#include "Services/WhatsNewNotes.h"

#include <algorithm>

namespace ledgerfern::WhatsNewNotes {

std::span<const Release> releases() {
    static const std::vector<Release> all = {
        {"1.6.0",
         {"Insights name the sessions behind each finding: one click lists them.",
          "Claude's 5-hour limit stands beside the weekly one, in the popover and on the Overview.",
          "The day chart can be split by type of session or by model.",
          "Exports hold what the scope shows, as CSV or JSON."}},
        {"1.5.0", {"Claude Code's own limits, read from its status line once it is connected."}},
        {"1.4.3", {"A warning when the format of the logs has changed in a way that may hide numbers."}},
        {"1.4.2", {"Sessions under the names that Codex gives its threads."}},
        {"1.4.1", {"Cache breaks: where a prompt had to be read again in full, and what it cost."}},
        {"1.4.0", {"Insights: what stands out in the scope, with its figures."}},
        {"1.3.1", {"Prices per model that can be changed in Settings."}},
        {"1.3.0", {"Projects: tokens and cost by folder."}},
        {"1.2.1", {"Shell commands told apart by what they do."}},
        {"1.2.0", {"Claude Code's sessions beside those of Codex, together or by tool."}},
        {"1.1.0", {"Notifications when a limit crosses 50, 80 or 95 percent."}},
        {"1.0.2", {"Trends of the weekly limit and of the daily cost."}},
        {"1.0.1", {"A file cache, so that only new log lines are read at the next start."}},
        {"1.0.0", {"Codex's weekly limit in the menu bar, and its sessions in the dashboard."}},
    };
    return all;
}

std::vector<std::string_view> lines(std::string_view version) {
    const auto all = releases();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Release& release) { return release.version == version; });
    if (found == all.end()) return {"Bug fixes and improvements."};
    return found->lines;
}

}  // namespace ledgerfern::WhatsNewNotes
