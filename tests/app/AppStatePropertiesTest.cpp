#include <QMetaMethod>
#include <QMetaProperty>
#include <QVariant>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "AppStateFixture.h"

// What others read of it, and how they are told that it has changed.

namespace ledgerfern {
namespace {

using test::AppStateFixture;

class AppStatePropertiesTest : public AppStateFixture {
protected:
    struct Property {
        std::string name;
        void (AppState::*changed)();
        std::function<void()> change;
    };

    /// Each property, and something that changes it once.
    std::vector<Property> properties() {
        return {
            {"snapshot", &AppState::snapshotChanged, [this] { rescan(); }},
            {"claudeFiveHour", &AppState::claudeFiveHourChanged, [this] { readStatus(); }},
            {"claudeTrend", &AppState::claudeTrendChanged, [this] { passAnHour(); }},
            {"statusText", &AppState::statusTextChanged, [this] { readLimit(31); }},
            {"statusSymbol", &AppState::statusSymbolChanged, [this] { readLimit(45); }},
            {"todayCostUSD", &AppState::todayCostUSDChanged, [this] { readLimit(45); }},
            {"lastError", &AppState::lastErrorChanged, [this] { spoilALine(); }},
            {"budgetEstimate", &AppState::budgetEstimateChanged, [this] { addToTheHistory(50); }},
            {"trend", &AppState::trendChanged, [this] { addToTheHistory(60); }},
            {"dailyCostTrend", &AppState::dailyCostTrendChanged, [this] { addToTheHistory(70); }},
            {"toolFilter", &AppState::toolFilterChanged, [this] { state->setToolFilter(ToolKind::codex); }},
            {"claudeLimitsConnected", &AppState::claudeLimitsConnectedChanged,
             [this] { EXPECT_TRUE(state->connectClaudeLimits()); }},
            {"pendingProject", &AppState::pendingProjectChanged,
             [this] { state->setPending("app", "", false); }},
            {"pendingScopeKey", &AppState::pendingScopeKeyChanged,
             [this] { state->setPending("app", "1772000000", false); }},
            {"pendingScopeIsCycle", &AppState::pendingScopeIsCycleChanged,
             [this] { state->setPending("app", "1772000000", true); }},
            {"notificationsEnabled", &AppState::notificationsEnabledChanged,
             [this] { state->setNotificationsEnabled(false); }},
        };
    }
    QVariant valueOf(const Property& property) const { return state->property(property.name.c_str()); }
    /// Counts from now on how often each property is said to have changed.
    void countChanges() {
        for (const Property& property : properties())
            QObject::connect(state.get(), property.changed, state.get(),
                             [this, name = property.name] { ++changes[name]; });
    }

    std::map<std::string, int> changes;

private:
    void readStatus() {
        writeStatus(5, 6, now);
        look();
    }
    void passAnHour() {
        now += 3600;
        rescan();
    }
    void spoilALine() {
        home.append(".codex/sessions/limit.jsonl", "{\"type\":\"event_msg\",\"payload\"\n");
        rescan();
    }
    void addToTheHistory(double usedPercent) {
        now += 86'400;
        SnapshotStore(supportFile("snapshots.sqlite"))
            .recordDailyIfDue({now, usedPercent, reset, usedPercent * 1e6, "pro", 1});
        rescan();
    }
};

TEST_F(AppStatePropertiesTest, haveTheirOwnSignals) {
    std::map<std::string, QMetaMethod> expected, found;
    for (const Property& property : properties())
        expected[property.name] = QMetaMethod::fromSignal(property.changed);
    const QMetaObject& meta = AppState::staticMetaObject;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        found[meta.property(i).name()] = meta.property(i).notifySignal();
    EXPECT_EQ(found, expected);
}

TEST_F(AppStatePropertiesTest, tellOfEachChange) {
    writeCodex("limit.jsonl", codexLog(30));
    makeSettled();
    countChanges();
    for (const Property& property : properties()) {
        const QVariant before = valueOf(property);
        QVariant told;
        const auto connection =
            QObject::connect(state.get(), property.changed, [&] { told = valueOf(property); });
        changes.clear();
        property.change();
        EXPECT_EQ(changes[property.name], 1) << property.name;
        EXPECT_NE(told, before) << property.name;
        EXPECT_EQ(told, valueOf(property)) << property.name;
        QObject::disconnect(connection);
    }
}

TEST_F(AppStatePropertiesTest, tellOfNothingThatStaysAsItIs) {
    writeCodex("limit.jsonl", codexLog(30));
    makeSettled();
    state->setPending("app", "1772000000", true);
    countChanges();
    int applied = 0;
    QObject::connect(state.get(), &AppState::applied, [&] { ++applied; });
    rescan();
    state->setPending("app", "1772000000", true);
    state->setToolFilter({});
    state->setNotificationsEnabled(true);
    EXPECT_EQ(applied, 1);
    EXPECT_EQ(changes, (std::map<std::string, int>{{"snapshot", 1}})) << "each snapshot is another";
}

TEST_F(AppStatePropertiesTest, beginWithNothing) {
    make();
    EXPECT_FALSE(state->snapshot());
    EXPECT_EQ(state->statusText(), "…");
    EXPECT_EQ(state->statusSymbol(), "gauge.with.dots.needle.0percent");
    EXPECT_FALSE(state->worstPercent());
    EXPECT_FALSE(state->lastError());
    EXPECT_FALSE(state->budgetEstimate());
    EXPECT_TRUE(state->trend().empty());
    EXPECT_TRUE(state->dailyCostTrend().empty());
    EXPECT_EQ(state->todayCostUSD(), 0);
    EXPECT_FALSE(state->toolFilter());
    EXPECT_FALSE(state->claudeFiveHour());
    EXPECT_TRUE(state->claudeTrend().empty());
    EXPECT_FALSE(state->claudeLimitsConnected());
    EXPECT_TRUE(state->pendingProject().isEmpty());
    EXPECT_TRUE(state->pendingScopeKey().isEmpty());
    EXPECT_FALSE(state->pendingScopeIsCycle());
    EXPECT_TRUE(state->notificationsEnabled());
    EXPECT_FALSE(state->refreshInFlight());
}

TEST_F(AppStatePropertiesTest, setASnapshotTogetherWithClaudesShortWindow) {
    makeSettled();
    writeStatus(55, 41, start);
    int told = 0;
    const auto expectBoth = [&] {
        ++told;
        ASSERT_TRUE(state->claudeFiveHour());
        EXPECT_EQ(state->claudeFiveHour()->usedPercent, 55.0);
        const auto& limits = state->snapshot()->aggregates.latestRateLimitsByTool;
        ASSERT_TRUE(limits.contains(ToolKind::claudeCode));
        EXPECT_EQ(limits.at(ToolKind::claudeCode).usedPercent, 41.0);
    };
    QObject::connect(state.get(), &AppState::snapshotChanged, expectBoth);
    QObject::connect(state.get(), &AppState::claudeFiveHourChanged, expectBoth);
    look();
    EXPECT_EQ(told, 2);
}

TEST_F(AppStatePropertiesTest, setAProjectTogetherWithItsScope) {
    make();
    int told = 0;
    const auto expectAll = [&] {
        ++told;
        EXPECT_EQ(state->pendingProject(), "app");
        EXPECT_EQ(state->pendingScopeKey(), "1772000000");
        EXPECT_TRUE(state->pendingScopeIsCycle());
    };
    QObject::connect(state.get(), &AppState::pendingProjectChanged, expectAll);
    QObject::connect(state.get(), &AppState::pendingScopeKeyChanged, expectAll);
    QObject::connect(state.get(), &AppState::pendingScopeIsCycleChanged, expectAll);
    state->setPending("app", "1772000000", true);
    EXPECT_EQ(told, 3);
}

}  // namespace
}  // namespace ledgerfern
