#include "Services/linux/TrayMenu.h"

#include <gtest/gtest.h>

#include <QAction>

#include "app/OffscreenApplication.h"

namespace ledgerfern {

namespace {

MenuEntry entry(MenuEntry::Kind kind, std::string title, std::function<void()> action = nullptr) {
    MenuEntry entry;
    entry.kind = kind;
    entry.title = std::move(title);
    entry.action = std::move(action);
    return entry;
}

class TrayMenuTest : public testing::Test {
    OffscreenApplication application_;
};

}  // namespace

TEST_F(TrayMenuTest, entriesStandAsTheyAreGiven) {
    TrayMenu menu;
    menu.setEntries({entry(MenuEntry::Kind::text, "R&D 46%"), entry(MenuEntry::Kind::separator, ""),
                     entry(MenuEntry::Kind::action, "Rescan Now")});
    const QList<QAction*> actions = menu.menu().actions();
    ASSERT_EQ(actions.size(), 3);
    EXPECT_EQ(actions[0]->text(), QStringLiteral("R&&D 46%"));
    EXPECT_FALSE(actions[0]->isEnabled());
    EXPECT_TRUE(actions[1]->isSeparator());
    EXPECT_TRUE(actions[2]->isEnabled());
}

TEST_F(TrayMenuTest, entriesOfTheSameKindsAreChangedInPlace) {
    TrayMenu menu;
    int first = 0, second = 0;
    menu.setEntries({entry(MenuEntry::Kind::action, "One", [&] { ++first; })});
    QAction* action = menu.menu().actions().at(0);
    menu.setEntries({entry(MenuEntry::Kind::action, "Two", [&] { ++second; })});
    ASSERT_EQ(menu.menu().actions(), QList<QAction*>{action});
    EXPECT_EQ(action->text(), QStringLiteral("Two"));
    action->trigger();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST_F(TrayMenuTest, entriesOfOtherKindsReplaceThoseBefore) {
    TrayMenu menu;
    menu.setEntries({entry(MenuEntry::Kind::action, "One"), entry(MenuEntry::Kind::action, "Two")});
    menu.setEntries({entry(MenuEntry::Kind::text, "Three")});
    ASSERT_EQ(menu.menu().actions().size(), 1);
    EXPECT_EQ(menu.menu().actions().at(0)->text(), QStringLiteral("Three"));
}

TEST_F(TrayMenuTest, anActionMayChangeTheMenuThatItIsIn) {
    TrayMenu menu;
    menu.setEntries({entry(MenuEntry::Kind::action, "Rescan Now",
                           [&] { menu.setEntries({entry(MenuEntry::Kind::text, "Scanning")}); })});
    menu.menu().actions().at(0)->trigger();
    EXPECT_EQ(menu.menu().actions().at(0)->text(), QStringLiteral("Scanning"));
}

}  // namespace ledgerfern
