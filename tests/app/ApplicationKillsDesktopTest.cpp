// The program dies at any moment, while the agents go on writing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>

#include "ClaudeLimits/ClaudeStatusLine.h"
#include "Foundation/FileEvents.h"
#include "Foundation/Numbers.h"
#include "app/ApplicationHome.h"
#include "app/EventLoop.h"

namespace ledgerfern {

namespace {

using testing::ElementsAre;
namespace fs = std::filesystem;

std::optional<std::int64_t> fromEnvironment(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr ? std::nullopt : readInteger(text);
}

/// Claude's samples are an hour apart.
constexpr const char* samplesTooClose =
    "SELECT CAST(COUNT(*) AS TEXT) FROM claude_samples a JOIN claude_samples b "
    "ON b.ts > a.ts AND b.ts < a.ts + 3600";
const std::array databases = {"snapshots.sqlite", "filecache.sqlite"};

/// A row of Codex's history, but for its time.
struct HistoryRow {
    double usedPercent = 0;
    std::optional<double> tokens;  ///< Absent in those that come from the logs.

    bool operator==(const HistoryRow&) const = default;
};
using History = std::map<Instant, HistoryRow>;

class ApplicationKillsDesktop : public testing::Test {
protected:
    void SetUp() override {
        home.makeUp(20);
        home.write(".claude/settings.json",
                   R"({"model":"opus","statusLine":{"type":"command","command":"date"}})");
        ASSERT_TRUE(ClaudeStatusLine::install(home.path(".claude/settings.json"), home.support()));
        std::cout << "Seed: " << seed << '\n' << std::flush;
    }

    std::map<std::string, std::string> foreignFiles() const {
        std::map<std::string, std::string> files;
        for (const std::string& name :
             {home.path(".claude/settings.json"), home.path(".claude/settings.json.ledgerfern-backup"),
              home.support("claude-statusline.sh"), home.support("claude-statusline-original"),
              home.support("claude-status.json")})
            files[name] = readWholeFile(name).value_or("gone");
        return files;
    }

    History history() const {
        History found;
        auto database = SqliteDatabase::openReadOnly(home.support("snapshots.sqlite"));
        auto statement = database->prepare("SELECT ts, used_percent, local_7d_total FROM snapshots");
        while (statement && statement->step() == SqliteStatement::Step::row)
            found[statement->real(0).value_or(0)] = {statement->real(1).value_or(0), statement->real(2)};
        return found;
    }
    /// The day's row, which may or may not have been due, is left out.
    History historyButToday() const {
        History found = history();
        const auto today = std::erase_if(
            found, [&](const auto& row) { return row.second.tokens && !before.contains(row.first); });
        EXPECT_LE(today, 1U);
        return found;
    }
    /// What the history becomes with the logs' readings.
    History withReadings(History history) const {
        for (const SessionPointer& session : home.scanned().sessions)
            for (const auto& [day, reading] : session->rlDaily)
                history.try_emplace(reading.ts, HistoryRow{reading.usedPercent, std::nullopt});
        return history;
    }

    /// Whether the cache answers for every log as it is now.
    bool isCacheComplete() const {
        std::set<std::string> expected;
        for (const char* root : {".codex/sessions", ".claude/projects"})
            for (const auto& entry : fs::recursive_directory_iterator(home.path(root)))
                if (entry.is_regular_file() && entry.path().extension() == ".jsonl")
                    expected.insert(entry.path().string() + " " + std::to_string(entry.file_size()));
        const auto found = rows(home.support("filecache.sqlite"), "SELECT path || ' ' || size FROM files");
        return std::set(found.begin(), found.end()) == expected;
    }
    bool isHistoryComplete() const { return historyButToday() == withReadings(before); }
    /// Starts it, and lets it read everything. There is something to read.
    void runOnce() {
        beginSession();
        sessions.back()->request(upTo(100));
        RunningApplication application(home);
        EXPECT_TRUE(eventually([this] { return isCacheComplete() && isHistoryComplete(); }, ample));
        EXPECT_EQ(application.terminate(), 0);
        EXPECT_EQ(application.said(), "");
    }

    void copy(const std::string& database, const test::TempFolder& folder) const {
        for (const std::string& part : {database, database + "-wal"})
            if (fs::exists(home.support(part))) fs::copy_file(home.support(part), folder / part);
    }
    /// Of the databases as the killed process has left them, in copies, since opening one mends it.
    void expectSoundDatabases() {
        const test::TempFolder copies;
        for (const std::string database : databases) {
            copy(database, copies);
            if (!fs::exists(copies / database)) {
                EXPECT_FALSE(lasting.contains(database)) << database << " is gone";
                continue;
            }
            lasting.insert(database);
            auto opened = SqliteDatabase::open(copies / database);
            auto statement = opened->prepare("PRAGMA integrity_check");
            ASSERT_TRUE(statement && statement->step() == SqliteStatement::Step::row) << database;
            EXPECT_EQ(statement->text(0), "ok") << database;
        }
    }
    /// What its cache answers for is what a cache answers for that nobody has disturbed.
    void expectExactNumbers() const {
        const test::TempFolder caches;
        copy("filecache.sqlite", caches);
        const std::string exact = dump(caches / "undisturbed.sqlite");
        EXPECT_GT(exact.size(), 100'000U);
        EXPECT_TRUE(exact == dump(caches / "filecache.sqlite")) << "the numbers aren't the same";
    }
    /// All numbers, as a cache gives them; what it lacks is read first.
    std::string dump(const std::string& cache) const {
        const std::vector<std::string> arguments{"dump", "--cache", cache, "--now", now};
        home.commandLine(arguments);
        return home.commandLine(arguments);
    }

    void forgetCache() {
        for (const char* const part : {"", "-wal", "-shm"})
            fs::remove(home.support("filecache.sqlite") + part);
        lasting.erase("filecache.sqlite");
    }
    double upTo(double most) { return std::uniform_real_distribution(0.0, most)(random); }

    void beginSession() {
        sessions.push_back(std::make_unique<LiveSession>(home, static_cast<std::int64_t>(sessions.size())));
    }
    LiveSession& recentSession() {
        constexpr std::size_t recent = 3;
        return *sessions[sessions.size() - 1 - random() % std::min(recent, sessions.size())];
    }
    /// Lives for so many seconds, of which the agents write in the first ones.
    void liveAndDie(double lifetime, double writing) {
        RunningApplication application(home);
        QElapsedTimer age;
        age.start();
        eventually(
            [&] {
                const double seconds = static_cast<double>(age.elapsed()) / 1000;
                if (seconds < writing) recentSession().request(upTo(100));
                return seconds >= lifetime;
            },
            ample);
        EXPECT_TRUE(application.isRunning());
        application.kill();
        EXPECT_EQ(application.said(), "");
    }

    const ApplicationHome home;
    const std::string now = std::to_string(QDateTime::currentSecsSinceEpoch());
    const std::int64_t seed =
        fromEnvironment("LEDGERFERN_SEED").value_or(static_cast<std::int64_t>(std::random_device()()));
    std::mt19937 random{static_cast<std::mt19937::result_type>(seed)};
    std::vector<std::unique_ptr<LiveSession>> sessions;
    History before;
    std::set<std::string> lasting{databases.begin(), databases.end()};  ///< What no death may remove.
};

}  // namespace

TEST_F(ApplicationKillsDesktop, aKillAtAnyMomentLosesNothing) {
    const auto kills = fromEnvironment("LEDGERFERN_KILLS").value_or(20);
    before = history();
    ASSERT_FALSE(before.empty());
    const auto foreignBefore = foreignFiles();
    QElapsedTimer clock;
    clock.start();
    runOnce();
    const double start = static_cast<double>(clock.elapsed()) / 1000;

    for (std::int64_t kill = 1; kill <= kills && !HasFailure(); ++kill) {
        SCOPED_TRACE(kill);
        // Most die in what a start does, and some in what a change leads to.
        if (kill % 5 != 0) {
            beginSession();
            liveAndDie(upTo(start), start);
        } else {
            liveAndDie(start / 2 + quietSpell + upTo(0.5), start / 2);
            expectExactNumbers();
            if (kill % 2 == 0) forgetCache();
        }
        expectSoundDatabases();
    }

    runOnce();
    expectSoundDatabases();
    expectExactNumbers();
    EXPECT_EQ(historyButToday(), withReadings(before));
    EXPECT_THAT(rows(home.support("snapshots.sqlite"), samplesTooClose), ElementsAre("0"));
    EXPECT_EQ(foreignFiles(), foreignBefore);
}

}  // namespace ledgerfern
