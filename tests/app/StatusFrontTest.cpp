#include "Application/StatusFront.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "app/AppStateFixture.h"

namespace ledgerfern::test {

namespace {

class FakeStatusItem : public StatusItem {
public:
    void setContent(const Content& content) override { shown = content; }
    void setMenu(std::vector<MenuEntry> entries) override {
        menu = std::move(entries);
        ++menus;
    }

    const MenuEntry& entry(std::string_view title) const {
        const auto found = std::ranges::find(menu, title, &MenuEntry::title);
        EXPECT_NE(found, menu.end()) << title;
        return *found;
    }

    Content shown;
    std::vector<MenuEntry> menu;
    int menus = 0;
};

class StatusFrontTest : public AppStateFixture {
protected:
    FakeStatusItem item;
};

}  // namespace

TEST_F(StatusFrontTest, beforeTheFirstSnapshotThereIsNoPercentage) {
    make();
    const StatusFront front(*state, item, nullptr);
    EXPECT_EQ(item.shown.text, "…");
    EXPECT_EQ(item.shown.symbol, "gauge.with.dots.needle.0percent");
    EXPECT_EQ(item.shown.percent, std::nullopt);
    EXPECT_EQ(item.shown.toolTip, "Ledgerfern …");
    EXPECT_EQ(item.menu.front().title, "Scanning AI session stores …");
}

TEST_F(StatusFrontTest, theItemShowsWhatTheStateSays) {
    writeCodex("a.jsonl", codexLog(37));
    make();
    const StatusFront front(*state, item, nullptr);
    settle();
    EXPECT_EQ(item.shown.text, "37%");
    EXPECT_EQ(item.shown.symbol, "gauge.with.dots.needle.33percent");
    EXPECT_EQ(item.shown.percent, 37);
    EXPECT_THAT(item.shown.toolTip, testing::StartsWith("Ledgerfern 37%\nCodex 37% · pro · resets "));
    EXPECT_THAT(item.menu.front().title, testing::StartsWith("Codex 37%"));
}

TEST_F(StatusFrontTest, claudesWindowsAreShownBesideCodexs) {
    writeCodex("a.jsonl", codexLog(37));
    writeStatus(81, 42, start);
    make();
    const StatusFront front(*state, item, nullptr);
    settle();
    EXPECT_EQ(item.shown.percent, 81);
    EXPECT_THAT(item.menu.at(0).title, testing::StartsWith("Codex 37%"));
    EXPECT_THAT(item.menu.at(1).title, testing::StartsWith("Claude 42% · 5h 81% · resets "));
}

TEST_F(StatusFrontTest, theMenuTellsTodaysCostAndWhatWasSkipped) {
    const std::string today = "2026-03-03T21:20:00Z";
    const Json used = usage(1'000'000, 0, 0);  // at five dollars
    CodexLog log;
    log.at(today).meta().at(today).model("gpt-5.5").at(today).tokens(used, used);
    log.raw(R"({"type":"event_msg","payload":{"type":"token_count")");
    writeCodex("a.jsonl", log.text);
    make();
    const StatusFront front(*state, item, nullptr);
    settle();
    item.entry("today ≈ $5.00");
    item.entry("1 malformed session lines skipped");
}

TEST_F(StatusFrontTest, theMenuRescansAndWaitsMeanwhile) {
    makeSettled();
    const StatusFront front(*state, item, nullptr);
    EXPECT_TRUE(item.entry("Rescan Now").isEnabled);
    item.entry("Rescan Now").action();
    EXPECT_TRUE(state->refreshInFlight());
    EXPECT_FALSE(item.entry("Rescan Now").isEnabled);
    settle();
    EXPECT_TRUE(item.entry("Rescan Now").isEnabled);
}

TEST_F(StatusFrontTest, theMenuQuits) {
    make();
    int quits = 0;
    const StatusFront front(*state, item, [&] { ++quits; });
    item.entry("Quit Ledgerfern").action();
    EXPECT_EQ(quits, 1);
}

TEST_F(StatusFrontTest, aMenuThatStaysTheSameIsntMadeAnew) {
    writeCodex("a.jsonl", codexLog(37));
    makeSettled();
    const StatusFront front(*state, item, nullptr);
    const int before = item.menus;
    Q_EMIT state->applied();
    EXPECT_EQ(item.menus, before);
}

}  // namespace ledgerfern::test
