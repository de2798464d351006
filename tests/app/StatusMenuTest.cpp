#include "Application/StatusMenu.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "Application/LocaleTimes.h"

namespace ledgerfern {

namespace {

using testing::ElementsAre;

constexpr std::int64_t reset = 1774195200;

std::string resetText() {
    return " · resets " + LocaleTimes::weekdayAndTime(reset);
}

StatusMenuContent content() {
    StatusMenuContent content;
    content.hasSnapshot = true;
    content.statusText = "46%";
    return content;
}

RateLimitInfo limit(std::optional<double> used, std::optional<std::int64_t> resetsAt = reset,
                    std::optional<std::string> plan = std::nullopt) {
    return {used, std::nullopt, resetsAt, std::move(plan)};
}

std::vector<std::string> titles(const std::vector<MenuEntry>& menu) {
    std::vector<std::string> titles;
    for (const MenuEntry& entry : menu)
        titles.push_back(entry.kind == MenuEntry::Kind::separator ? "-" : entry.title);
    return titles;
}

const MenuEntry& entry(const std::vector<MenuEntry>& menu, std::string_view title) {
    const auto found = std::ranges::find(menu, title, &MenuEntry::title);
    EXPECT_NE(found, menu.end()) << title;
    return *found;
}

}  // namespace

TEST(StatusMenu, aLimitsLineTellsUseAndPlanAndReset) {
    StatusMenuContent shown = content();
    shown.codexWeekly = limit(46.4, reset, "pro");
    shown.claudeWeekly = limit(37.5);
    shown.claudeFiveHour = limit(28);
    EXPECT_THAT(limitLines(shown),
                ElementsAre("Codex 46% · pro" + resetText(), "Claude 38% · 5h 28%" + resetText()));
}

TEST(StatusMenu, aLimitsLineLeavesOutWhatIsntKnown) {
    StatusMenuContent shown = content();
    EXPECT_THAT(limitLines(shown), ElementsAre());
    shown.codexWeekly = limit(std::nullopt, std::nullopt, "");
    EXPECT_THAT(limitLines(shown), ElementsAre("Codex"));
    shown.codexWeekly = limit(12, std::int64_t{1} << 62);
    EXPECT_THAT(limitLines(shown), ElementsAre("Codex 12%"));
}

TEST(StatusMenu, claudesFiveHourWindowAloneHasALineToo) {
    StatusMenuContent shown = content();
    shown.claudeFiveHour = limit(28);
    EXPECT_THAT(limitLines(shown), ElementsAre("Claude · 5h 28%" + resetText()));
}

TEST(StatusMenu, theMenuHasLimitsAndCostAboveTheCommands) {
    StatusMenuContent shown = content();
    shown.codexWeekly = limit(46, std::nullopt);
    shown.todayCostUSD = 41.54;
    shown.warning = "3 malformed session lines skipped";
    EXPECT_THAT(titles(statusMenu(shown, {})),
                ElementsAre("Codex 46%", "today ≈ $41.54", "3 malformed session lines skipped", "-",
                            "Dashboard", "Rescan Now", "Settings…", "-", "Quit Ledgerfern"));
}

TEST(StatusMenu, withoutLimitsAndCostTheMenuSaysSo) {
    EXPECT_EQ(titles(statusMenu(content(), {})).front(), "no rate-limit snapshot found");
    EXPECT_EQ(titles(statusMenu(content(), {})).at(1), "-");
}

TEST(StatusMenu, beforeTheFirstNumbersTheMenuTellsThatItScans) {
    StatusMenuContent shown;
    shown.claudeFiveHour = limit(28);
    EXPECT_THAT(titles(statusMenu(shown, {})),
                ElementsAre("Scanning AI session stores …", "-", "Dashboard", "Rescan Now", "Settings…", "-",
                            "Quit Ledgerfern"));
}

TEST(StatusMenu, windowsThatDontStandYetAreDisabled) {
    const auto menu = statusMenu(content(), {});
    EXPECT_FALSE(entry(menu, "Dashboard").isEnabled);
    EXPECT_EQ(entry(menu, "Dashboard").toolTip, "Open the full dashboard window");
    EXPECT_FALSE(entry(menu, "Settings…").isEnabled);
    EXPECT_TRUE(entry(menu, "Quit Ledgerfern").isEnabled);
}

TEST(StatusMenu, aSecondRescanCantBeAskedForWhileOneRuns) {
    StatusMenuContent shown = content();
    EXPECT_TRUE(entry(statusMenu(shown, {}), "Rescan Now").isEnabled);
    shown.isRescanning = true;
    EXPECT_FALSE(entry(statusMenu(shown, {}), "Rescan Now").isEnabled);
}

TEST(StatusMenu, theCommandsDoWhatTheySay) {
    int rescans = 0, quits = 0;
    const auto menu = statusMenu(content(), {.rescan = [&] { ++rescans; }, .quit = [&] { ++quits; }});
    entry(menu, "Rescan Now").action();
    EXPECT_EQ(rescans, 1);
    EXPECT_EQ(quits, 0);
    entry(menu, "Quit Ledgerfern").action();
    EXPECT_EQ(quits, 1);
}

TEST(StatusMenu, theToolTipHasTheStatusTextAndALineForEachKnownLimit) {
    StatusMenuContent shown = content();
    EXPECT_EQ(statusToolTip(shown), "Ledgerfern 46%");
    shown.codexWeekly = limit(46, std::nullopt);
    shown.claudeWeekly = limit(12, std::nullopt);
    EXPECT_EQ(statusToolTip(shown), "Ledgerfern 46%\nCodex 46%\nClaude 12%");
}

TEST(StatusMenu, beforeTheFirstNumbersTheToolTipHasTheEllipsis) {
    StatusMenuContent shown;
    shown.statusText = "…";
    EXPECT_EQ(statusToolTip(shown), "Ledgerfern …");
}

}  // namespace ledgerfern
