// How the program ends, and that a scan which still runs then neither keeps it nor breaks anything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <filesystem>
#include <set>
#include <string>

#include "app/ApplicationHome.h"
#include "app/EventLoop.h"
#include "app/FakeTrayWatcher.h"
#include "app/Screen.h"

namespace ledgerfern {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

/// What starts programs with the user's log-in, and tells them of the log-out.
class SessionManager {
public:
    SessionManager() {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(QStringLiteral(LEDGERFERN_SESSION_MANAGER), QStringList());
        EXPECT_TRUE(eventually([this] { return process_.canReadLine(); }, ample));
        address_ = QString::fromUtf8(process_.readLine()).trimmed();
    }
    ~SessionManager() { goAway(); }
    SessionManager(const SessionManager&) = delete;
    SessionManager& operator=(const SessionManager&) = delete;

    const QString& address() const { return address_; }
    /// Waits until the program has told it not to start it with the next session.
    bool awaitsNoReturn() {
        return eventually([this] { return process_.canReadLine(); }, ample) &&
               process_.readLine() == "never\n";
    }
    void logOut() { process_.write("o"); }
    void goAway() {
        process_.closeWriteChannel();
        EXPECT_TRUE(eventually([this] { return process_.state() == QProcess::NotRunning; }, ample));
    }

private:
    QProcess process_;
    QString address_;
};

class ApplicationEndDesktop : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tray.start()); }

    bool awaitToolTip(const QString& start) const {
        return eventually([&] { return tray.toolTip().startsWith(start); }, ample);
    }

    std::vector<std::string> cachedLogs() const {
        return rows(home.support("filecache.sqlite"), "SELECT CAST(COUNT(*) AS TEXT) FROM files");
    }
    /// Many names of one long log: much to read, and little on the disk.
    void writeLongLogs() const {
        test::CodexLog log;
        log.message("assistant", {{{"type", "output_text"}, {"text", std::string(100'000, 'x')}}});
        std::string text;
        for (int i = 0; i < 200; ++i)
            text += log.text;
        const std::string folder = ".codex/sessions/2026/03/01/";
        const std::string file = home.write(folder + "rollout-0.jsonl", text);
        for (int i = 1; i < 500; ++i)
            fs::create_hard_link(file, home.path(folder + "rollout-" + std::to_string(i) + ".jsonl"));
    }
    QProcessEnvironment environmentWith(const char* name, const QString& value) const {
        QProcessEnvironment environment = home.environment();
        environment.insert(QString::fromUtf8(name), value);
        return environment;
    }
    void awaitScan() const {
        ASSERT_TRUE(awaitToolTip(QStringLiteral("Ledgerfern …")));
        ASSERT_TRUE(eventually([&] { return !cachedLogs().empty(); }, ample)) << "the scan doesn't begin";
    }

    /// What it leaves where nothing is its to keep.
    std::set<std::string> leftovers() const {
        std::set<std::string> names;
        for (const auto& [name, seen] : home.everything())
            if (name.starts_with("run/") || name.starts_with("tmp/")) names.insert(name);
        return names;
    }
    void expectCutOffCleanly() const {
        EXPECT_THAT(leftovers(), IsEmpty());
        EXPECT_THAT(cachedLogs(), ElementsAre("0")) << "the scan was through";
        for (const char* const database : {"filecache.sqlite", "snapshots.sqlite"})
            EXPECT_THAT(rows(home.support(database), "PRAGMA integrity_check"), ElementsAre("ok"))
                << database;
    }

    /// Moves the folder's only log to where no change is noticed, and leaves a link to it.
    void moveBehindALink(const std::string& folder) const {
        const fs::path log = fs::directory_iterator(folder)->path();
        const std::string unwatched = home.write("elsewhere", "");
        fs::rename(log, unwatched);
        fs::create_symlink(unwatched, log);
    }

    const ApplicationHome home;
    FakeTrayWatcher tray;
};

}  // namespace

TEST_F(ApplicationEndDesktop, askedToEndDuringALongScanItDoesSoAtOnce) {
    writeLongLogs();
    RunningApplication application(home);
    awaitScan();
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(application.terminate(), 0);
    EXPECT_LT(clock.elapsed(), 10'000);
    EXPECT_EQ(application.said(), "");
    expectCutOffCleanly();
}

TEST_F(ApplicationEndDesktop, quitInItsMenuEndsItDuringAScanToo) {
    writeLongLogs();
    RunningApplication application(home);
    awaitScan();
    tray.choose(QStringLiteral("Quit Ledgerfern"));
    EXPECT_EQ(application.status(), 0);
    EXPECT_EQ(application.said(), "");
    expectCutOffCleanly();
}

TEST_F(ApplicationEndDesktop, theUsersLogOutEndsItDuringAScanToo) {
    writeLongLogs();
    SessionManager manager;
    RunningApplication application(environmentWith("SESSION_MANAGER", manager.address()));
    awaitScan();
    EXPECT_TRUE(manager.awaitsNoReturn()) << "the session remembers it";
    manager.logOut();
    EXPECT_EQ(application.status(), 0);
    EXPECT_EQ(application.said(), "");
    expectCutOffCleanly();
}

TEST_F(ApplicationEndDesktop, itEndsInOrderWithItsSessionManagerDuringAScanToo) {
    writeLongLogs();
    SessionManager manager;
    RunningApplication application(environmentWith("SESSION_MANAGER", manager.address()));
    awaitScan();
    EXPECT_TRUE(manager.awaitsNoReturn());
    manager.goAway();
    EXPECT_EQ(application.status(), 1);
    EXPECT_THAT(application.said(), HasSubstr("ICE default IO error handler"));
    expectCutOffCleanly();
}

TEST_F(ApplicationEndDesktop, itEndsInOrderWithItsScreenDuringAScanToo) {
    writeLongLogs();
    Screen screen;
    RunningApplication application(
        environmentWith("DISPLAY", screen.environment().value(QStringLiteral("DISPLAY"))));
    awaitScan();
    screen.kill();
    EXPECT_EQ(application.status(), 1);
    EXPECT_THAT(application.said(), HasSubstr("The X11 connection broke"));
    expectCutOffCleanly();
}

TEST_F(ApplicationEndDesktop, rescanNowInItsMenuReadsWhatNoEventTellsOf) {
    LiveSession session(home, 1);
    session.request(12);
    moveBehindALink(home.path(".codex/sessions/2026/03/01"));
    // Older than what the first, quick pass reads, it tells when the full one is through.
    test::CodexLog old;
    old.meta().tokens(test::usage(1, 0, 1), std::nullopt, test::Json{{"primary", {{"used_percent", 5}}}});
    test::setModified(home.write(".codex/sessions/2026/03/02/rollout-2.jsonl", old.text), 1e9);
    const RunningApplication application(home);
    ASSERT_TRUE(awaitToolTip(QStringLiteral("Ledgerfern 12%")));
    const auto isThrough = [this] {
        return !rows(home.support("snapshots.sqlite"), "SELECT '' FROM snapshots WHERE used_percent = 5")
                    .empty();
    };
    ASSERT_TRUE(eventually(isThrough, ample));

    session.request(34);
    tray.choose(QStringLiteral("Rescan Now"));
    EXPECT_TRUE(awaitToolTip(QStringLiteral("Ledgerfern 34%")));
}

}  // namespace ledgerfern
