#include "Application/StatusMenu.h"

#include <utility>

#include "Analytics/CostEstimator.h"
#include "Analytics/Formats.h"
#include "Application/LocaleTimes.h"

namespace ledgerfern {

namespace {

constexpr const char* separator = " · ";

MenuEntry entry(MenuEntry::Kind kind, std::string title = "") {
    MenuEntry entry;
    entry.kind = kind;
    entry.title = std::move(title);
    return entry;
}

MenuEntry command(std::string title, std::string shortcut, std::function<void()> action) {
    MenuEntry command = entry(MenuEntry::Kind::action, std::move(title));
    command.shortcut = std::move(shortcut);
    command.action = std::move(action);
    return command;
}

MenuEntry disabled(MenuEntry entry) {
    entry.isEnabled = false;
    return entry;
}

MenuEntry dashboardCommand() {
    MenuEntry dashboard = command("Dashboard", "", nullptr);
    dashboard.toolTip = "Open the full dashboard window";
    return dashboard;
}

MenuEntry rescanCommand(bool isRescanning, std::function<void()> rescan) {
    MenuEntry entry = command("Rescan Now", "R", std::move(rescan));
    entry.isEnabled = !isRescanning;
    return entry;
}

/// The reset of the weekly window, or of the other one where that alone is known.
std::string resetPart(const RateLimitInfo& info) {
    if (!info.resetsAt) return "";
    const std::string time = LocaleTimes::weekdayAndTime(static_cast<Instant>(*info.resetsAt));
    return time.empty() ? "" : separator + ("resets " + time);
}

std::string limitLine(const std::string& tool, const std::optional<RateLimitInfo>& weekly,
                      const std::optional<RateLimitInfo>& fiveHour) {
    std::string line = tool;
    if (weekly && weekly->usedPercent) line += " " + fmtPercent(*weekly->usedPercent);
    if (fiveHour && fiveHour->usedPercent) line += separator + ("5h " + fmtPercent(*fiveHour->usedPercent));
    const RateLimitInfo& shown = weekly ? *weekly : *fiveHour;
    if (shown.planType && !shown.planType->empty()) line += separator + *shown.planType;
    return line + resetPart(shown);
}

std::vector<std::string> newsLines(const StatusMenuContent& content) {
    if (!content.hasSnapshot) return {"Scanning AI session stores …"};
    std::vector<std::string> lines = limitLines(content);
    if (lines.empty()) lines.emplace_back("no rate-limit snapshot found");
    if (content.todayCostUSD > 0) lines.push_back("today ≈ " + CostEstimator::fmtUSD(content.todayCostUSD));
    if (content.warning) lines.push_back(*content.warning);
    return lines;
}

}  // namespace

std::vector<std::string> limitLines(const StatusMenuContent& content) {
    std::vector<std::string> lines;
    if (content.codexWeekly) lines.push_back(limitLine("Codex", content.codexWeekly, std::nullopt));
    if (content.claudeWeekly || content.claudeFiveHour)
        lines.push_back(limitLine("Claude", content.claudeWeekly, content.claudeFiveHour));
    return lines;
}

std::vector<MenuEntry> statusMenu(const StatusMenuContent& content, const StatusMenuActions& actions) {
    std::vector<MenuEntry> menu;
    for (std::string& news : newsLines(content))
        menu.push_back(disabled(entry(MenuEntry::Kind::text, std::move(news))));
    menu.push_back(entry(MenuEntry::Kind::separator));
    menu.push_back(disabled(dashboardCommand()));
    menu.push_back(rescanCommand(content.isRescanning, actions.rescan));
    menu.push_back(disabled(command("Settings…", ",", nullptr)));
    menu.push_back(entry(MenuEntry::Kind::separator));
    menu.push_back(command("Quit Ledgerfern", "Q", actions.quit));
    return menu;
}

std::string statusToolTip(const StatusMenuContent& content) {
    std::string toolTip = "Ledgerfern " + content.statusText;
    for (const std::string& line : limitLines(content))
        toolTip += "\n" + line;
    return toolTip;
}

}  // namespace ledgerfern
