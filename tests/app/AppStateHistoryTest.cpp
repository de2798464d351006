#include <sqlite3.h>

#include <filesystem>

#include "AppStateFixture.h"

// What a snapshot leaves in the history, and what the history shows.

namespace ledgerfern {
namespace {

using test::AppStateFixture;

class AppStateHistoryTest : public AppStateFixture {
protected:
    /// All rows of the history, through a connection of its own.
    std::vector<std::vector<std::string>> rows(const std::string& query) const {
        std::vector<std::vector<std::string>> result;
        sqlite3* db = nullptr;
        EXPECT_EQ(sqlite3_open(supportFile("snapshots.sqlite").c_str(), &db), SQLITE_OK);
        const auto take = [](void* into, int count, char** values, char**) {
            std::vector<std::string> row;
            for (int i = 0; i < count; ++i)
                row.emplace_back(values[i] ? values[i] : "NULL");
            static_cast<std::vector<std::vector<std::string>>*>(into)->push_back(row);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(db, query.c_str(), take, &result, nullptr), SQLITE_OK);
        sqlite3_close(db);
        return result;
    }
    std::size_t dailyRows() const {
        return rows("SELECT ts FROM snapshots WHERE local_7d_total IS NOT NULL").size();
    }
};

TEST_F(AppStateHistoryTest, writesADaysRowAfterTwentyHours) {
    writeCodex("limit.jsonl", codexLog(37));
    makeSettled();
    EXPECT_EQ(dailyRows(), 1U);
    now = start + 71'999;
    rescan();
    EXPECT_EQ(dailyRows(), 1U);
    now = start + 72'000;
    rescan();
    EXPECT_EQ(dailyRows(), 2U);
}

TEST_F(AppStateHistoryTest, writesWhatIsKnownIntoTheDaysRow) {
    writeCodex("limit.jsonl", codexLog(37.5, 4000));
    makeSettled();
    EXPECT_EQ(
        rows("SELECT used_percent, resets_at, local_7d_total, plan FROM snapshots WHERE ts = 1772572800"),
        (std::vector<std::vector<std::string>>{
            {"37.5", std::to_string(static_cast<std::int64_t>(reset)), "4010.0", "pro"}}));
}

TEST_F(AppStateHistoryTest, writesADaysRowWithoutCodex) {
    writeStatus(55, 41, start);
    makeSettled();
    EXPECT_EQ(rows("SELECT used_percent, resets_at, local_7d_total, plan, daily_cost_usd FROM snapshots"),
              (std::vector<std::vector<std::string>>{{"0.0", "NULL", "0.0", "", "0.0"}}));
    EXPECT_EQ(rows("SELECT seven_day, five_hour FROM claude_samples"),
              (std::vector<std::vector<std::string>>{{"41.0", "55.0"}}));
    ASSERT_EQ(state->claudeTrend().size(), 1U);
    EXPECT_EQ(state->claudeTrend()[0], (SnapshotStore::Point{start, 41}));
}

TEST_F(AppStateHistoryTest, estimatesTheBudgetBeforeTheDaysRowIsWritten) {
    // Two rows of the past: 10 % for a million tokens.
    make();
    state.reset();
    SnapshotStore store(supportFile("snapshots.sqlite"));
    store.recordDailyIfDue({start - 3 * 86'400, 20, reset, 2'000'000, "pro", 1});
    store.recordDailyIfDue({start - 2 * 86'400, 30, reset, 3'000'000, "pro", 1});
    make();
    loop.runPosted();
    workers.run();
    loop.runPosted();
    EXPECT_EQ(state->budgetEstimate(), 10'000'000);
    settle();
    EXPECT_NE(state->budgetEstimate(), 10'000'000) << "by the row that the first pass wrote";
}

TEST_F(AppStateHistoryTest, fillsTheHistoryFromTheLogs) {
    writeCodex("limit.jsonl", codexLog(37));
    makeSettled();
    ASSERT_EQ(state->trend().size(), 2U) << "the log's reading, and the day's row";
    EXPECT_EQ(state->trend()[0].value, 37.0);
    EXPECT_LT(state->trend()[0].ts, state->trend()[1].ts);
    EXPECT_EQ(state->trend()[1], (SnapshotStore::Point{start, 37}));
}

TEST_F(AppStateHistoryTest, triesAReadingAgainThatCouldntBeStored) {
    writeCodex("limit.jsonl", codexLog(37));
    make();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(supportFile("snapshots.sqlite").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    settle();
    ASSERT_TRUE(state->snapshot());
    EXPECT_TRUE(state->trend().empty());
    ASSERT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    rescan();
    ASSERT_EQ(state->trend().size(), 1U);
    EXPECT_EQ(state->trend()[0].value, 37.0);
    EXPECT_EQ(dailyRows(), 1U);
}

TEST_F(AppStateHistoryTest, goesOnWithoutAHistory) {
    home.write("Library/Application Support/Ledgerfern/snapshots.sqlite/in-the-way", "");
    writeCodex("limit.jsonl", codexLog(37));
    makeSettled();
    EXPECT_EQ(state->statusText(), "37%");
    EXPECT_TRUE(state->trend().empty());
    EXPECT_TRUE(state->dailyCostTrend().empty());
    EXPECT_FALSE(state->budgetEstimate());
}

TEST_F(AppStateHistoryTest, samplesClaudeByItsWeeklyLimit) {
    home.write("Library/Application Support/Ledgerfern/claude-status.json",
               R"({"rate_limits": {"five_hour": {"used_percentage": 55, "resets_at": 1772576400}}})");
    makeSettled();
    EXPECT_EQ(state->statusText(), "55%");
    EXPECT_TRUE(rows("SELECT * FROM claude_samples").empty());
}

TEST_F(AppStateHistoryTest, showsNinetyRowsOfCodexAndNinetyDaysOfClaude) {
    make();
    state.reset();
    SnapshotStore store(supportFile("snapshots.sqlite"));
    for (int day = 95; day > 0; --day) {
        store.recordDailyIfDue({start - day * 86'400, 20, reset, 0, "pro", 1});
        store.recordClaudeIfDue(30, std::nullopt, start - day * 86'400);
    }
    makeSettled();
    ASSERT_EQ(state->trend().size(), 90U);
    EXPECT_EQ(state->trend().front().ts, start - 89 * 86'400) << "today's row is the ninetieth";
    ASSERT_EQ(state->claudeTrend().size(), 90U);
    EXPECT_EQ(state->claudeTrend().front().ts, start - 90 * 86'400);
    EXPECT_EQ(state->dailyCostTrend().size(), 89U) << "today costs nothing";
}

TEST_F(AppStateHistoryTest, goesOnWhereTheHistoryIsRemovedMeanwhile) {
    writeCodex("limit.jsonl", codexLog(37));
    makeSettled();
    for (const char* end : {"", "-wal", "-shm"})
        std::filesystem::remove(supportFile("snapshots.sqlite") + end);
    readLimit(45);
    EXPECT_EQ(state->statusText(), "45%");
}

}  // namespace
}  // namespace ledgerfern
