// The program as the desktop starts it: what it shows, tells and keeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include "ClaudeLimits/ClaudeStatus.h"
#include "app/ApplicationHome.h"
#include "app/EventLoop.h"
#include "app/FakeTrayWatcher.h"
#include "app/Screen.h"
#include "app/linux/FakeNotificationDaemon.h"

namespace ledgerfern {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string supportName = "home/Library/Application Support/Ledgerfern";

class ApplicationDesktop : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tray.start()); }

    bool awaitToolTip(const std::string& start, qint64 patience = ample) {
        const bool isShown =
            eventually([&] { return tray.toolTip().toStdString().starts_with(start); }, patience);
        EXPECT_TRUE(isShown) << start << " isn't shown, but " << tray.toolTip().toStdString();
        return isShown;
    }

    /// The times and percentages of Codex's history.
    std::map<Instant, double> history() const {
        std::map<Instant, double> found;
        auto database = SqliteDatabase::openReadOnly(home.support("snapshots.sqlite"));
        if (!database) return found;
        auto statement = database->prepare("SELECT ts, used_percent FROM snapshots");
        while (statement && statement->step() == SqliteStatement::Step::row)
            found[statement->real(0).value_or(0)] = statement->real(1).value_or(0);
        return found;
    }
    std::map<Instant, double> readingsInLogs() const {
        std::map<Instant, double> readings;
        for (const SessionPointer& session : home.scanned().sessions)
            for (const auto& [day, reading] : session->rlDaily)
                readings[reading.ts] = reading.usedPercent;
        return readings;
    }
    bool hasAllReadings() const {
        const auto kept = history();
        const auto readings = readingsInLogs();
        return !kept.empty() && std::includes(kept.begin(), kept.end(), readings.begin(), readings.end());
    }

    /// What is new, gone or another, without the application's own files and the folders in which they, and
    /// those that it needs for a while, come and go.
    std::set<std::string> changedSince(const std::map<std::string, std::string>& before) const {
        const auto after = home.everything();
        std::map<std::string, std::string> different;
        std::set_symmetric_difference(after.begin(), after.end(), before.begin(), before.end(),
                                      std::inserter(different, different.end()));
        std::set<std::string> names;
        for (const auto& [name, seen] : different)
            names.insert(name);
        for (const char* const name : {"run", "tmp"})
            names.erase(name);
        names.erase(supportName);
        for (const char* const name : {"snapshots.sqlite", "snapshots.sqlite-wal", "snapshots.sqlite-shm",
                                       "filecache.sqlite", "filecache.sqlite-wal", "filecache.sqlite-shm"})
            names.erase(supportName + "/" + name);
        return names;
    }
    /// The folders are there already, and so is what belongs to the agents.
    std::map<std::string, std::string> everythingBeforeStart() const {
        std::filesystem::create_directories(home.support());
        home.write(".claude/settings.json",
                   R"({"model":"opus","statusLine":{"type":"command","command":"date"}})");
        return home.everything();
    }

    const ApplicationHome home;
    FakeTrayWatcher tray;
};

/// Of each notification: its title, its text, and the number that it replaces.
std::vector<std::string> notifications(const FakeNotificationDaemon& daemon) {
    std::vector<std::string> texts;
    for (const QDBusMessage& request : daemon.requests) {
        const QVariantList arguments = request.arguments();
        texts.push_back(arguments.value(3).toString().toStdString() + ", " +
                        arguments.value(4).toString().toStdString() + ", " +
                        std::to_string(arguments.value(1).toUInt()));
    }
    return texts;
}

}  // namespace

TEST_F(ApplicationDesktop, itShowsAndTellsAndKeepsWhatTheAgentWrites) {
    FakeNotificationDaemon daemon(
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("notifications")));
    ASSERT_TRUE(daemon.isRunning());
    home.makeUp(10);
    std::filesystem::remove_all(home.support());
    LiveSession session(home, 1);
    session.request(37.4);
    RunningApplication application(home);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 37%\nCodex 37%"));
    EXPECT_TRUE(eventually([&] { return hasAllReadings(); }, ample));
    const auto before = history();

    session.request(55);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 55%"));
    LiveSession second(home, 2);
    second.request(85.2);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 85%"));
    session.request(30);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 30%"));
    session.request(61);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 61%"));

    EXPECT_TRUE(eventually([&] { return daemon.requests.size() >= 3; }, ample));
    EXPECT_THAT(notifications(daemon), ElementsAre("Codex weekly limit at 50%, 55% of the window used., 0",
                                                   "Codex weekly limit at 80%, 85% of the window used., 0",
                                                   "Codex weekly limit at 50%, 61% of the window used., 1"));
    EXPECT_TRUE(eventually([&] { return hasAllReadings(); }, ample));
    const auto after = history();
    EXPECT_EQ(after.size(), before.size() + 1);
    EXPECT_TRUE(std::includes(after.begin(), after.end(), before.begin(), before.end()));
    EXPECT_EQ(application.said(), "");
}

TEST_F(ApplicationDesktop, itSeesWithinTheTimersIntervalWhatClaudeTells) {
    LiveSession session(home, 1);
    session.request(12);
    const RunningApplication application(home);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 12%"));
    const std::string status = home.support(std::string(ClaudeStatus::fileName));
    std::ofstream(status) << R"({"rate_limits":{"seven_day":{"used_percentage":91.5}}})";
    EXPECT_TRUE(awaitToolTip("Ledgerfern 92%\nCodex 12%", 20'000 + ample));
}

TEST_F(ApplicationDesktop, aSecondStartEndsAtOnceAndAKilledOneDoesntStandInTheWay) {
    LiveSession session(home, 1);
    session.request(12);
    RunningApplication first(home);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 12%"));

    RunningApplication second(home);
    EXPECT_EQ(second.status(), 0);
    EXPECT_EQ(second.said(), "");
    EXPECT_TRUE(first.isRunning());
    session.request(34);
    EXPECT_TRUE(awaitToolTip("Ledgerfern 34%"));

    first.kill();
    session.request(56);
    const RunningApplication third(home);
    EXPECT_TRUE(awaitToolTip("Ledgerfern 56%"));
}

TEST_F(ApplicationDesktop, askedToEndItLeavesNothingButItsOwnFiles) {
    LiveSession session(home, 1);
    session.request(12);
    const auto before = everythingBeforeStart();
    RunningApplication application(home);
    ASSERT_TRUE(awaitToolTip("Ledgerfern 12%"));
    EXPECT_TRUE(eventually([&] { return hasAllReadings(); }, ample));
    EXPECT_EQ(application.terminate(), 0);
    EXPECT_EQ(application.said(), "");
    EXPECT_THAT(changedSince(before), IsEmpty());
}

TEST_F(ApplicationDesktop, withoutBusAndTrayItSaysSoOnceAndGoesOn) {
    LiveSession session(home, 1);
    session.request(12);
    const Screen screen;
    QProcessEnvironment environment = home.environment();
    environment.insert(QStringLiteral("DISPLAY"), screen.environment().value(QStringLiteral("DISPLAY")));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nowhere"));
    RunningApplication application(environment);
    EXPECT_TRUE(eventually([&] { return !application.said().empty(); }, ample));
    EXPECT_TRUE(eventually([&] { return hasAllReadings(); }, ample));
    LiveSession later(home, 2);
    later.request(20);
    EXPECT_TRUE(eventually([&] { return hasAllReadings(); }, ample));
    EXPECT_EQ(application.terminate(), 0);
    EXPECT_EQ(application.said(),
              "Ledgerfern finds no tray to sit in; it goes on watching, and appears once there is one.\n");
}

}  // namespace ledgerfern
