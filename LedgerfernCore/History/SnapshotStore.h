#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Foundation/Sqlite.h"
#include "UsageRecords/Records.h"

namespace ledgerfern {

/// What the logs can't give back: how the weekly limits looked on past days. One SQLite file, of which
/// nothing is ever removed: about a row a day for Codex, with the tokens and the cost of that time, and at
/// most a row an hour for Claude.
///
/// Nothing of it fails outward: without a database, or where a statement can't be run, readings are empty and
/// nothing is written; a database that another program is writing to isn't waited for. Rows that can't be
/// ours, with a time outside the years 1 to 9999, are passed over. One thread at a time.
class SnapshotStore {
public:
    struct Point {
        Instant ts = 0;
        double value = 0;

        bool operator==(const Point&) const = default;
    };
    /// A reading of Codex's weekly limit that a log holds.
    struct Reading {
        Instant ts = 0;
        double pct = 0;
        std::optional<std::int64_t> resetsAt;
    };
    /// What is recorded once a day.
    struct DailyRow {
        Instant ts = 0;
        double usedPercent = 0;                ///< Of Codex's weekly limit; 0 where it isn't known.
        std::optional<std::int64_t> resetsAt;  ///< Seconds since the epoch.
        double local7dTotal = 0;               ///< Codex's tokens of the seven days before.
        std::string plan;                      ///< Empty where it isn't known.
        double dailyCostUSD = 0;
    };

    /// Opens the database, "snapshots.sqlite" in the support directory unless a path is given; makes it, its
    /// folder and its tables where they are missing, and adds what older versions lack.
    explicit SnapshotStore(const std::optional<std::string>& path = std::nullopt);

    bool isOpen() const { return db_.has_value(); }
    const std::string& path() const { return path_; }

    /// Adds the readings of times that have no row yet, in one transaction. False where they may not all be
    /// there.
    bool backfill(std::span<const Reading> readings);
    /// Writes the row unless the newest one is less than twenty hours older.
    void recordDailyIfDue(const DailyRow& row);
    /// Writes a sample unless the newest one is less than an hour older.
    void recordClaudeIfDue(double sevenDay, std::optional<double> fiveHour, Instant now);

    /// Codex's percentages of the newest `limit` rows, oldest first.
    std::vector<Point> recent(std::int64_t limit);
    /// Claude's weekly percentages of the last `days` days, oldest first.
    std::vector<Point> recentClaude(std::int64_t days, Instant now);
    /// The costs above 0 among the newest `limit` rows that have one, oldest first.
    std::vector<Point> recentDailyCost(std::int64_t limit);
    /// Tokens per 100 % of the weekly limit, by the two newest rows.
    std::optional<std::int64_t> estimatedWeeklyBudgetTokens();

private:
    std::vector<Point> points(SqliteStatement statement);
    std::optional<SqliteStatement> query(const char* text);
    std::vector<Point> newest(const char* text, std::int64_t limit);
    std::optional<double> newestTime(const char* text);

    std::string path_;
    std::optional<SqliteDatabase> db_;
};

}  // namespace ledgerfern
