#include "Application/LedgerfernCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Application/DashboardCommandRouter.h"

namespace ledgerfern {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LedgerfernCommandsTest : public testing::Test {
protected:
    /// Fills in the router's actions, as the dashboard does.
    void openDashboard() {
        router.onFocusSearch = [this] { done.emplace_back("search"); };
        router.onShowWhatsNew = [this] { done.emplace_back("what's new"); };
        router.onSelectSectionName = [this](const std::string& name) { done.push_back("section " + name); };
    }
    void chooseEach() const {
        for (const auto& entry : menu)
            if (entry.action) entry.action();
    }

    std::vector<std::string> done;
    DashboardCommandRouter router;
    std::vector<MenuEntry> menu =
        LedgerfernCommands::viewMenu(router, [this] { done.emplace_back("refresh"); });
};

TEST_F(LedgerfernCommandsTest, standInTheirOrderWithTheirKeys) {
    std::vector<std::string> entries;
    for (const auto& entry : menu)
        entries.push_back(entry.kind == MenuEntry::Kind::separator ? "-"
                                                                   : entry.title + "|" + entry.shortcut);
    EXPECT_THAT(entries,
                ElementsAre("Rescan Now|R", "Focus Session Search|F", "-", "Overview|1", "Sessions|2",
                            "Projects|3", "Insights|4", "-", "What's New in Ledgerfern…|"));
}

TEST_F(LedgerfernCommandsTest, canBeChosenButForTheDividers) {
    for (const auto& entry : menu) {
        EXPECT_EQ(entry.kind == MenuEntry::Kind::action, bool(entry.action)) << entry.title;
        EXPECT_TRUE(entry.isEnabled) << entry.title;
    }
}

TEST_F(LedgerfernCommandsTest, reachTheDashboard) {
    openDashboard();
    chooseEach();
    EXPECT_THAT(done, ElementsAre("refresh", "search", "section Overview", "section Sessions",
                                  "section Projects", "section Insights", "what's new"));
}

TEST_F(LedgerfernCommandsTest, doNothingWithoutADashboard) {
    chooseEach();
    EXPECT_THAT(done, ElementsAre("refresh"));
}

TEST(DashboardCommandRouter, passesEachCommandToItsOwnAction) {
    DashboardCommandRouter router;
    std::string done;
    router.onSelectSectionName = [&](const std::string& name) { done += name; };
    router.focusSearch();
    router.showWhatsNew();
    EXPECT_THAT(done, IsEmpty());
    router.selectSectionName("Projects");
    EXPECT_EQ(done, "Projects");
    router.onSelectSectionName = nullptr;
    router.selectSectionName("Insights");
    EXPECT_EQ(done, "Projects");
}

}  // namespace
}  // namespace ledgerfern
