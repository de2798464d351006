#include "History/SnapshotStore.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/FaultyFiles.h"
#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

using Points = std::vector<SnapshotStore::Point>;

constexpr Instant now = 1'780'000'000;

class SnapshotStoreTest : public FileFixture {
protected:
    std::string database() const { return path("support/snapshots.sqlite"); }
    SnapshotStore store() const { return SnapshotStore(database()); }

    void run(const std::string& sql) const {
        auto db = SqliteDatabase::open(database());
        ASSERT_TRUE(db && db->execute(sql)) << sql;
    }
    /// What a question is answered with, in its first row.
    std::string answer(const std::string& sql) const {
        auto db = SqliteDatabase::open(database());
        auto statement = db->prepare(sql);
        return statement && statement->step() == SqliteStatement::Step::row
                   ? std::string(statement->text(0).value_or("nothing"))
                   : "no answer";
    }
    std::string count(const std::string& table) const { return answer("SELECT COUNT(*) FROM " + table); }

    const std::vector<SnapshotStore::Reading> later = {{now + 1, 1, std::nullopt}};
};

SnapshotStore::DailyRow row(Instant ts, double percent = 10, double tokens = 0, double cost = 1) {
    return {ts, percent, 1'800'000'000, tokens, "pro", cost};
}

TEST_F(SnapshotStoreTest, anEmptyStoreHasNothing) {
    SnapshotStore empty = store();
    EXPECT_TRUE(empty.isOpen());
    EXPECT_EQ(empty.recent(90), Points());
    EXPECT_EQ(empty.recentClaude(90, now), Points());
    EXPECT_EQ(empty.recentDailyCost(90), Points());
    EXPECT_EQ(empty.estimatedWeeklyBudgetTokens(), std::nullopt);
}

TEST_F(SnapshotStoreTest, givesTheNewestRowsOldestFirst) {
    SnapshotStore history = store();
    for (int day = 0; day < 91; ++day)
        history.recordDailyIfDue(row(now + day * 86400, day));
    const Points rows = history.recent(90);
    ASSERT_EQ(rows.size(), 90u);
    EXPECT_EQ(rows.front(), (SnapshotStore::Point{now + 86400, 1}));
    EXPECT_EQ(rows.back(), (SnapshotStore::Point{now + 90 * 86400, 90}));
}

TEST_F(SnapshotStoreTest, aDaysRowIsDueAfterTwentyHours) {
    SnapshotStore history = store();
    history.recordDailyIfDue(row(now));
    history.recordDailyIfDue(row(now + 71'999.9));
    EXPECT_EQ(count("snapshots"), "1");
    history.recordDailyIfDue(row(now + 72'000));
    EXPECT_EQ(count("snapshots"), "2");
    history.recordDailyIfDue(row(now - 86400));
    EXPECT_EQ(count("snapshots"), "2");
}

TEST_F(SnapshotStoreTest, aRowHoldsAllThatIsGiven) {
    SnapshotStore history = store();
    history.recordDailyIfDue({now, 42.5, std::nullopt, 1234.0, "", 0.25});
    auto db = SqliteDatabase::open(database());
    auto rows = db->prepare(
        "SELECT ts, used_percent, resets_at, local_7d_total, plan, daily_cost_usd FROM snapshots");
    ASSERT_EQ(rows->step(), SqliteStatement::Step::row);
    EXPECT_EQ(rows->real(0), now);
    EXPECT_EQ(rows->real(1), 42.5);
    EXPECT_EQ(rows->type(2), SqliteStatement::Type::null);
    EXPECT_EQ(rows->real(3), 1234.0);
    EXPECT_EQ(rows->text(4), "");
    EXPECT_EQ(rows->real(5), 0.25);
}

TEST_F(SnapshotStoreTest, readingsOfLogsFillUpWhatIsMissing) {
    SnapshotStore history = store();
    history.recordDailyIfDue(row(now, 99));
    const std::vector<SnapshotStore::Reading> readings = {
        {now - 86400, 20, 1'800'000'000}, {now, 1, std::nullopt}, {now + 5, 30, std::nullopt}};
    EXPECT_TRUE(history.backfill(readings));
    const Points expected = {{now - 86400, 20}, {now, 99}, {now + 5, 30}};
    EXPECT_EQ(history.recent(90), expected);
    EXPECT_TRUE(history.backfill(readings));
    EXPECT_EQ(history.recent(90), expected);
    EXPECT_TRUE(history.backfill({}));
}

TEST_F(SnapshotStoreTest, aReadingOfALogHasNoMoreThanTheLimit) {
    SnapshotStore history = store();
    ASSERT_TRUE(history.backfill(std::vector<SnapshotStore::Reading>{{1, 20, 1'800'000'000}, {2, 30, {}}}));
    EXPECT_EQ(answer("SELECT group_concat(printf('%g %g %s %s %s %s', ts, used_percent, "
                     "ifnull(resets_at, 'NULL'), ifnull(local_7d_total, 'NULL'), ifnull(plan, 'NULL'), "
                     "ifnull(daily_cost_usd, 'NULL')), '; ') FROM snapshots"),
              "1 20 1800000000 NULL NULL NULL; 2 30 NULL NULL NULL NULL");
}

TEST_F(SnapshotStoreTest, aReadingOfALogIsTheNewestRowToo) {
    SnapshotStore history = store();
    ASSERT_TRUE(history.backfill(std::vector<SnapshotStore::Reading>{{now - 60, 20, {}}}));
    history.recordDailyIfDue(row(now));
    EXPECT_EQ(history.recent(90), (Points{{now - 60, 20}}));
}

TEST_F(SnapshotStoreTest, claudeIsSampledOnceAnHour) {
    SnapshotStore history = store();
    history.recordClaudeIfDue(10, 5.0, now);
    history.recordClaudeIfDue(11, std::nullopt, now + 3599.9);
    history.recordClaudeIfDue(12, std::nullopt, now + 3600);
    EXPECT_EQ(history.recentClaude(90, now + 3600), (Points{{now, 10}, {now + 3600, 12}}));
    EXPECT_EQ(answer("SELECT group_concat(ifnull(five_hour, 'NULL')) FROM claude_samples"), "5.0,NULL");
}

TEST_F(SnapshotStoreTest, samplesAreCountedByDays) {
    SnapshotStore history = store();
    for (const double daysAgo : {91.0, 90.0, 1.0})
        run("INSERT INTO claude_samples VALUES(" + std::to_string(now - daysAgo * 86400) + ", " +
            std::to_string(daysAgo) + ", NULL)");
    EXPECT_EQ(history.recentClaude(90, now), (Points{{now - 90 * 86400, 90}, {now - 86400, 1}}));
}

TEST_F(SnapshotStoreTest, daysWithoutACostAreNoPointsAndZeroCostsCount) {
    SnapshotStore history = store();
    run("INSERT INTO snapshots(ts, daily_cost_usd) VALUES(1, 1.5), (2, NULL), (3, 0.0), (4, 2.5)");
    EXPECT_EQ(history.recentDailyCost(90), (Points{{1, 1.5}, {4, 2.5}}));
    EXPECT_EQ(history.recentDailyCost(2), (Points{{4, 2.5}}));
}

TEST_F(SnapshotStoreTest, theBudgetFollowsFromTheNewestTwoRows) {
    SnapshotStore history = store();
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total) VALUES(1, 20, 2000000)");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), std::nullopt);
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total) VALUES(2, 30, 3000000)");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), 10'000'000);
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total) VALUES(3, 30.5, 4000000)");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), std::nullopt);
    run("INSERT INTO snapshots(ts, used_percent) VALUES(2.5, 10)");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), 19'512'195);
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total) VALUES(4, 2, 5000000)");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), std::nullopt);
}

TEST_F(SnapshotStoreTest, anOlderDatabaseGetsTheColumnOfCosts) {
    makeFolder("support");
    run("CREATE TABLE snapshots(ts REAL PRIMARY KEY, used_percent REAL, resets_at INTEGER, local_7d_total "
        "REAL, plan TEXT)");
    run("INSERT INTO snapshots VALUES(" + std::to_string(now - 86400) + ", 12, NULL, 5, 'pro')");
    SnapshotStore history = store();
    history.recordDailyIfDue(row(now, 13, 0, 2.5));
    EXPECT_EQ(history.recent(90), (Points{{now - 86400, 12}, {now, 13}}));
    EXPECT_EQ(history.recentDailyCost(90), (Points{{now, 2.5}}));
    SnapshotStore again = store();
    EXPECT_EQ(again.recentDailyCost(90), (Points{{now, 2.5}}));
}

TEST_F(SnapshotStoreTest, theTablesAreAsTheyAlwaysWere) {
    store();
    auto db = SqliteDatabase::open(database());
    auto tables = db->prepare("SELECT sql FROM sqlite_master WHERE type = 'table' ORDER BY name");
    ASSERT_EQ(tables->step(), SqliteStatement::Step::row);
    EXPECT_EQ(
        tables->text(0),
        "CREATE TABLE claude_samples(\n    ts REAL PRIMARY KEY,\n    seven_day REAL,\n    five_hour REAL\n)");
    ASSERT_EQ(tables->step(), SqliteStatement::Step::row);
    EXPECT_EQ(
        tables->text(0),
        "CREATE TABLE snapshots(\n    ts REAL PRIMARY KEY,\n    used_percent REAL,\n    resets_at INTEGER,\n"
        "    local_7d_total REAL,\n    plan TEXT,\n    daily_cost_usd REAL\n)");
    EXPECT_EQ(tables->step(), SqliteStatement::Step::done);
}

/// All of the rows of one writing are there or none; what was there before stays; and then it goes on.
TEST_F(SnapshotStoreTest, isWholeWhicheverStepFails) {
    store().recordDailyIfDue(row(now - 200'000, 5));
    const std::string before = read("support/snapshots.sqlite");
    const std::vector<SnapshotStore::Reading> readings = {{now - 300'000, 1, std::nullopt},
                                                          {now - 250'000, 2, std::nullopt}};
    const auto work = [&] {
        SnapshotStore history = store();
        history.backfill(readings);
        history.recordDailyIfDue(row(now, 9));
        history.recordClaudeIfDue(10, 5.0, now);
    };
    for (const auto kind :
         {FaultyFiles::Kind::once, FaultyFiles::Kind::forGood, FaultyFiles::Kind::powerCut}) {
        int step = 0;
        for (bool hasFailed = true; hasFailed && !HasFailure();) {
            SCOPED_TRACE(++step);
            for (const char* end : {"", "-wal", "-shm"})
                std::filesystem::remove(database() + end);
            FaultyFiles files;
            files.remember(write("support/snapshots.sqlite", before));
            files.failAt(step, kind);
            work();
            hasFailed = files.hasFailed();
            if (kind == FaultyFiles::Kind::powerCut) files.restart();
            files.mend();
            std::set<double> found;
            for (const auto& point : store().recent(90))
                found.insert(point.value);
            EXPECT_TRUE(found.contains(5));
            EXPECT_EQ(found.contains(1), found.contains(2));
            work();
            EXPECT_EQ(store().recent(90),
                      (Points{{now - 300'000, 1}, {now - 250'000, 2}, {now - 200'000, 5}, {now, 9}}));
            EXPECT_EQ(store().recentClaude(90, now), (Points{{now, 10}}));
            EXPECT_EQ(answer("PRAGMA integrity_check"), "ok");
        }
        EXPECT_GT(step, 10) << "the steps weren't seen";
    }
}

TEST_F(SnapshotStoreTest, rowsThatCannotBeOursArePassedOver) {
    SnapshotStore history = store();
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total, daily_cost_usd) "
        "VALUES(1e300, 1, 9, 9), ('x', 1, 9, 9), (253402300800, 1, 9, 9), (-62135596801, 1, 9, 9)");
    run("INSERT INTO claude_samples VALUES(1e300, 1, NULL), ('x', 1, NULL)");
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total) VALUES(5, NULL, 7)");
    EXPECT_EQ(history.recent(1), (Points{{5, 0}}));
    EXPECT_EQ(history.recentDailyCost(90), Points());
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), std::nullopt);
    for (int i = 0; i < 2; ++i) {
        history.recordDailyIfDue(row(now, 10, 1'000'007));
        history.recordClaudeIfDue(12, std::nullopt, now);
    }
    EXPECT_EQ(history.recent(90), (Points{{5, 0}, {now, 10}}));
    EXPECT_EQ(history.recentClaude(90, now), (Points{{now, 12}}));
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), 10'000'000);
    history.recordDailyIfDue(row(now + 71'999));
    history.recordClaudeIfDue(13, std::nullopt, now + 3'599);
    EXPECT_EQ(count("snapshots"), "6");
    EXPECT_EQ(count("claude_samples"), "3");
}

TEST_F(SnapshotStoreTest, anEstimateThatNoIntegerHoldsIsNone) {
    SnapshotStore history = store();
    run("INSERT INTO snapshots(ts, used_percent, local_7d_total) VALUES(1, 0, 0), (2, 1, 1e300)");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), std::nullopt);
    run("UPDATE snapshots SET local_7d_total = 1e15 WHERE ts = 2");
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), 100'000'000'000'000'000);
}

TEST_F(SnapshotStoreTest, withoutADatabaseThereIsNothingAndNothingFails) {
    write("support/snapshots.sqlite/x", "");
    SnapshotStore history = store();
    EXPECT_FALSE(history.isOpen());
    history.recordDailyIfDue(row(now));
    history.recordClaudeIfDue(1, 2.0, now);
    EXPECT_FALSE(history.backfill(std::vector<SnapshotStore::Reading>{{now, 1, std::nullopt}}));
    EXPECT_EQ(history.recent(90), Points());
    EXPECT_EQ(history.recentClaude(90, now), Points());
    EXPECT_EQ(history.recentDailyCost(90), Points());
    EXPECT_EQ(history.estimatedWeeklyBudgetTokens(), std::nullopt);
}

TEST_F(SnapshotStoreTest, aFileThatIsNoDatabaseIsAnEmptyStore) {
    write("support/snapshots.sqlite", std::string(5000, 'x'));
    SnapshotStore history = store();
    history.recordDailyIfDue(row(now));
    EXPECT_EQ(history.recent(90), Points());
    EXPECT_EQ(read("support/snapshots.sqlite"), std::string(5000, 'x'));
}

TEST_F(SnapshotStoreTest, aLockedDatabaseIsTriedAgain) {
    SnapshotStore history = store();
    history.recordDailyIfDue(row(now, 7));
    auto other = SqliteDatabase::open(database());
    ASSERT_TRUE(other->execute("BEGIN IMMEDIATE"));
    EXPECT_FALSE(history.backfill(later));
    history.recordDailyIfDue(row(now + 90'000, 8));
    EXPECT_EQ(history.recent(90), (Points{{now, 7}}));
    ASSERT_TRUE(other->execute("ROLLBACK"));
    EXPECT_TRUE(history.backfill(later));
    EXPECT_EQ(history.recent(90).size(), 2u);
}

/// Whoever reads a database without a write-ahead log holds up the end of a transaction, not its beginning.
TEST_F(SnapshotStoreTest, aReaderHoldsNothingUpForGood) {
    store();
    ASSERT_EQ(answer("PRAGMA journal_mode=DELETE"), "delete");
    auto reader = SqliteDatabase::open(database());
    ASSERT_TRUE(reader->execute("BEGIN"));
    ASSERT_TRUE(reader->execute("SELECT * FROM snapshots"));
    SnapshotStore history = store();
    EXPECT_FALSE(history.backfill(later));
    ASSERT_TRUE(reader->execute("COMMIT"));
    EXPECT_TRUE(history.backfill(later));
    EXPECT_EQ(count("snapshots"), "1");
}

TEST_F(SnapshotStoreTest, whatCanOnlyBeReadIsRead) {
    store().recordDailyIfDue(row(now, 7));
    ASSERT_EQ(answer("PRAGMA journal_mode=DELETE"), "delete");
    std::string bytes = read("support/snapshots.sqlite");
    bytes[18] = 3;  // a version of writing that SQLite doesn't know
    write("support/snapshots.sqlite", bytes);
    SnapshotStore history = store();
    EXPECT_FALSE(history.backfill(later));
    history.recordDailyIfDue(row(now + 90'000, 8));
    history.recordClaudeIfDue(1, 2.0, now);
    EXPECT_EQ(history.recent(90), (Points{{now, 7}}));
    EXPECT_EQ(read("support/snapshots.sqlite"), bytes);
}

TEST_F(SnapshotStoreTest, aDatabaseThatIsRemovedMeanwhileDoesNoHarm) {
    SnapshotStore history = store();
    history.recordDailyIfDue(row(now, 7));
    std::filesystem::remove_all(path("support"));
    history.backfill(later);
    history.recordDailyIfDue(row(now + 90'000, 8));
    history.recordClaudeIfDue(1, 2.0, now);
    EXPECT_GE(history.recent(90).size(), 1u);
    EXPECT_EQ(store().recent(90), Points());
}

}  // namespace
}  // namespace ledgerfern
