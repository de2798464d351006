#include "History/SnapshotStore.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Analytics/BudgetMath.h"
#include "Foundation/Locations.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

using Step = SqliteStatement::Step;

constexpr const char* journal = "PRAGMA journal_mode=WAL";
constexpr const char* flushing = "PRAGMA synchronous=NORMAL";
constexpr const char* createSnapshots =
    "CREATE TABLE IF NOT EXISTS snapshots(\n"
    "    ts REAL PRIMARY KEY,\n"
    "    used_percent REAL,\n"
    "    resets_at INTEGER,\n"
    "    local_7d_total REAL,\n"
    "    plan TEXT,\n"
    "    daily_cost_usd REAL\n"
    ");";
constexpr const char* createSamples =
    "CREATE TABLE IF NOT EXISTS claude_samples(\n"
    "    ts REAL PRIMARY KEY,\n"
    "    seven_day REAL,\n"
    "    five_hour REAL\n"
    ");";
/// Fails wherever the column is there, which is nearly always.
constexpr const char* addCost = "ALTER TABLE snapshots ADD COLUMN daily_cost_usd REAL;";

// Seconds. Twenty hours, so that a day's row doesn't move on with each day.
constexpr double dailyInterval = 72'000;
constexpr double sampleInterval = 3'600;
constexpr double secondsPerDay = 86'400;

std::string defaultPath() {
    return supportDirectory() + "/snapshots.sqlite";
}

void bind(SqliteStatement& statement, int parameter, std::optional<double> value) {
    value ? statement.bindDouble(parameter, *value) : statement.bindNull(parameter);
}
void bind(SqliteStatement& statement, int parameter, std::optional<std::int64_t> value) {
    value ? statement.bindInteger(parameter, *value) : statement.bindNull(parameter);
}

}  // namespace

SnapshotStore::SnapshotStore(const std::optional<std::string>& path) : path_(path ? *path : defaultPath()) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
    db_ = SqliteDatabase::open(path_);
    if (!db_) return;
    for (const char* statement : {journal, flushing, createSnapshots, createSamples, addCost})
        db_->execute(statement);
}

bool SnapshotStore::backfill(std::span<const Reading> readings) {
    if (readings.empty()) return true;
    if (!db_ || !db_->execute("BEGIN IMMEDIATE TRANSACTION")) return false;
    auto statement = db_->prepare(
        "INSERT OR IGNORE INTO snapshots(ts, used_percent, resets_at, local_7d_total, plan) "
        "VALUES(?,?,?,NULL,NULL);");
    bool isComplete = statement.has_value();
    for (const Reading& reading : readings) {
        if (!statement) break;
        statement->reset();
        statement->bindDouble(1, reading.ts);
        statement->bindDouble(2, reading.pct);
        bind(*statement, 3, reading.resetsAt);
        isComplete = statement->step() == Step::done && isComplete;
    }
    statement.reset();
    if (db_->execute("COMMIT")) return isComplete;
    db_->execute("ROLLBACK");  // a transaction that stays open would swallow what is written after it
    return false;
}

void SnapshotStore::recordDailyIfDue(const DailyRow& row) {
    if (!db_) return;
    const auto newest = newestTime("SELECT MAX(ts) FROM snapshots WHERE ts BETWEEN ?1 AND ?2;");
    if (newest && row.ts - *newest < dailyInterval) return;
    auto statement = db_->prepare(
        "INSERT OR REPLACE INTO snapshots(ts, used_percent, resets_at, local_7d_total, plan, daily_cost_usd) "
        "VALUES(?,?,?,?,?,?);");
    if (!statement) return;
    statement->bindDouble(1, row.ts);
    statement->bindDouble(2, row.usedPercent);
    bind(*statement, 3, row.resetsAt);
    statement->bindDouble(4, row.local7dTotal);
    statement->bindText(5, row.plan);
    statement->bindDouble(6, row.dailyCostUSD);
    statement->step();
}

void SnapshotStore::recordClaudeIfDue(double sevenDay, std::optional<double> fiveHour, Instant now) {
    if (!db_) return;
    const double newest =
        newestTime("SELECT MAX(ts) FROM claude_samples WHERE ts BETWEEN ?1 AND ?2;").value_or(0);
    if (!(now - newest >= sampleInterval)) return;
    auto statement =
        db_->prepare("INSERT OR REPLACE INTO claude_samples(ts, seven_day, five_hour) VALUES(?,?,?);");
    if (!statement) return;
    statement->bindDouble(1, now);
    statement->bindDouble(2, sevenDay);
    bind(*statement, 3, fiveHour);
    statement->step();
}

std::vector<SnapshotStore::Point> SnapshotStore::recent(std::int64_t limit) {
    return newest(
        "SELECT ts, used_percent FROM snapshots WHERE ts BETWEEN ?1 AND ?2 ORDER BY ts DESC LIMIT ?3;",
        limit);
}

std::vector<SnapshotStore::Point> SnapshotStore::recentClaude(std::int64_t days, Instant now) {
    auto statement = query(
        "SELECT ts, seven_day FROM claude_samples WHERE ts BETWEEN ?1 AND ?2 AND ts >= ?3 ORDER BY ts;");
    if (!statement) return {};
    statement->bindDouble(3, now - static_cast<double>(days) * secondsPerDay);
    return points(std::move(*statement));
}

std::vector<SnapshotStore::Point> SnapshotStore::recentDailyCost(std::int64_t limit) {
    auto costs = newest(
        "SELECT ts, daily_cost_usd FROM snapshots WHERE ts BETWEEN ?1 AND ?2 AND daily_cost_usd IS NOT NULL "
        "ORDER BY ts DESC LIMIT ?3;",
        limit);
    std::erase_if(costs, [](const Point& point) { return !(point.value > 0); });
    return costs;
}

std::optional<std::int64_t> SnapshotStore::estimatedWeeklyBudgetTokens() {
    auto statement = query(
        "SELECT used_percent, local_7d_total FROM snapshots WHERE ts BETWEEN ?1 AND ?2 ORDER BY ts DESC "
        "LIMIT 2;");
    if (!statement) return std::nullopt;
    std::vector<BudgetMath::Reading> rows;
    while (statement->step() == Step::row) {
        const double percent = statement->real(0).value_or(0);
        rows.push_back({percent, statement->real(1).value_or(0)});
    }
    return BudgetMath::estimateWeeklyBudget(rows);
}

/// Passes over what can't be ours: the first two parameters are the first and the last time of the calendar.
/// SQLite takes every number for less than any text.
std::optional<SqliteStatement> SnapshotStore::query(const char* text) {
    auto statement = db_ ? db_->prepare(text) : std::nullopt;
    if (!statement) return std::nullopt;
    statement->bindDouble(1, TSDate::calendarStart);
    statement->bindDouble(2, std::nextafter(TSDate::calendarEnd, 0.0));
    return statement;
}

std::vector<SnapshotStore::Point> SnapshotStore::newest(const char* text, std::int64_t limit) {
    auto statement = query(text);
    if (!statement) return {};
    statement->bindInteger(3, limit);
    auto rows = points(std::move(*statement));
    std::reverse(rows.begin(), rows.end());
    return rows;
}

std::vector<SnapshotStore::Point> SnapshotStore::points(SqliteStatement statement) {
    std::vector<Point> result;
    while (statement.step() == Step::row) {
        const double ts = statement.real(0).value_or(0);
        result.push_back({ts, statement.real(1).value_or(0)});
    }
    return result;
}

std::optional<double> SnapshotStore::newestTime(const char* text) {
    auto statement = query(text);
    if (!statement || statement->step() != Step::row) return std::nullopt;
    return statement->real(0);
}

}  // namespace ledgerfern
