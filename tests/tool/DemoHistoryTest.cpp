#include "DemoHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Analytics/CostEstimator.h"
#include "Analytics/PriceTable.h"
#include "Analytics/UsageMath.h"
#include "ClaudeLimits/ClaudeStatus.h"
#include "Foundation/Sqlite.h"
#include "History/SnapshotStore.h"
#include "tool/MadeUpHome.h"

namespace ledgerfern {
namespace {

constexpr double day = 86'400, week = 7 * day;

struct DailyRow {
    double ts, used, resetsAt, tokens, cost;
};
struct Sample {
    double ts, sevenDays, fiveHours;
};

/// A home whose history is looked into.
class DemoHistoryTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        madeUpHome = std::make_unique<MadeUpHome>(std::vector<std::string>{"--sessions", "40"});
    }
    static void TearDownTestSuite() { madeUpHome.reset(); }

    static std::string database() {
        return madeUpHome->path("Library/Application Support/Ledgerfern/snapshots.sqlite");
    }
    static const SessionList& sessions() { return madeUpHome->snapshot.sessions; }

    template <class Row>
    static std::vector<Row> rows(const std::string& query, const std::function<Row(SqliteStatement&)>& read) {
        std::vector<Row> found;
        auto opened = SqliteDatabase::openImmutable(database());
        auto statement = opened->prepare(query);
        EXPECT_TRUE(statement);
        while (statement && statement->step() == SqliteStatement::Step::row)
            found.push_back(read(*statement));
        return found;
    }
    static std::vector<DailyRow> dailyRows() {
        return rows<DailyRow>(
            "SELECT ts, used_percent, resets_at, local_7d_total, daily_cost_usd FROM snapshots "
            "WHERE plan = 'pro' ORDER BY ts",
            [](SqliteStatement& row) {
                const auto real = [&](int column) { return row.real(column).value_or(-1); };
                return DailyRow{real(0), real(1), real(2), real(3), real(4)};
            });
    }
    static std::vector<Sample> samples() {
        return rows<Sample>("SELECT ts, seven_day, five_hour FROM claude_samples ORDER BY ts",
                            [](SqliteStatement& row) {
                                const auto real = [&](int column) { return row.real(column).value_or(-1); };
                                return Sample{real(0), real(1), real(2)};
                            });
    }
    static std::vector<SnapshotStore::Reading> readingsOfLogs() {
        std::vector<SnapshotStore::Reading> readings;
        for (const SessionPointer& session : sessions())
            for (const auto& [key, reading] : session->rlDaily)
                readings.push_back({reading.ts, reading.usedPercent, reading.resetsAt});
        return readings;
    }

private:
    static inline std::unique_ptr<MadeUpHome> madeUpHome;
};

double costOf(const SessionList& sessions, Instant from, Instant to) {
    const PriceTable prices(CostEstimator::defaults());
    double cost = 0;
    for (const SessionPointer& session : sessions)
        for (std::size_t i = 0; i < session->requests.size(); ++i) {
            const auto& request = session->requests[i];
            if (request.ts && *request.ts >= from && *request.ts <= to)
                cost += CostEstimator::cost(prices, request.d, session->model);
        }
    return cost;
}

TEST_F(DemoHistoryTest, hasARowForEachOfNinetyDays) {
    const auto found = dailyRows();
    EXPECT_GE(found.size(), 89u);
    EXPECT_LE(found.size(), 91u);
    EXPECT_GT(found.front().ts, demoNow - 90 * day);
    EXPECT_LE(found.back().ts, demoNow);
    for (std::size_t i = 1; i < found.size(); ++i)
        EXPECT_GE(found[i].ts - found[i - 1].ts, 72'000);
}

TEST_F(DemoHistoryTest, countsWhatTheLogsHold) {
    SessionList codex = sessions();
    std::erase_if(codex, [](const SessionPointer& session) { return session->tool != ToolKind::codex; });
    int compared = 0;
    for (const DailyRow& row : dailyRows()) {
        if (row.ts < demoNow - 10 * week + week) continue;
        EXPECT_EQ(row.tokens, static_cast<double>(UsageMath::rollingTotal(codex, row.ts - week, row.ts)));
        EXPECT_NEAR(row.cost, costOf(sessions(), std::floor(row.ts / day) * day, row.ts), 1e-9);
        compared += row.cost > 0 ? 1 : 0;
    }
    EXPECT_GT(compared, 10);
}

TEST_F(DemoHistoryTest, agreesWithTheReadingsOfTheLogs) {
    const auto readings = readingsOfLogs();
    for (const DailyRow& row : dailyRows()) {
        EXPECT_GE(row.used, 0);
        EXPECT_LT(row.used, 100);
        for (const SnapshotStore::Reading& reading : readings) {
            if (static_cast<double>(*reading.resetsAt) != row.resetsAt) continue;
            if (reading.ts <= row.ts) {
                EXPECT_LE(reading.pct, row.used) << row.ts;
            } else {
                EXPECT_GE(reading.pct, row.used) << row.ts;
            }
        }
    }
}

TEST_F(DemoHistoryTest, hasTheReadingsOfTheLogsAlready) {
    const LogFolder folder;
    const std::string copy = folder.write("copy.sqlite", readWholeFile(database()).value_or(""));
    SnapshotStore store(copy);
    const auto before = store.recent(10'000);
    EXPECT_GT(before.size(), dailyRows().size() + 10);
    EXPECT_TRUE(store.backfill(readingsOfLogs()));
    EXPECT_EQ(store.recent(10'000), before);
    EXPECT_GT(store.recentDailyCost(90).size(), 20u);
}

TEST_F(DemoHistoryTest, samplesClaudesLimitsUpToWhatTheStatusFileSays) {
    const auto status = ClaudeStatus::load(database().substr(0, database().rfind('/')), 0);
    ASSERT_TRUE(status && status->sevenDay && status->fiveHour);
    const auto reset = static_cast<double>(*status->sevenDay->resetsAt);
    const auto found = samples();
    EXPECT_GT(found.size(), 800u);
    EXPECT_GT(found.front().ts, demoNow - 90 * day);
    EXPECT_LE(found.back().ts, status->observedAt);
    EXPECT_LE(found.back().sevenDays, *status->sevenDay->usedPercent);
    EXPECT_GT(found.back().sevenDays, 0);
    for (std::size_t i = 1; i < found.size(); ++i) {
        EXPECT_GE(found[i].ts - found[i - 1].ts, 3600);
        EXPECT_LT(found[i].sevenDays, 100);
        EXPECT_LT(found[i].fiveHours, 100);
        const bool isSameWeek =
            std::floor((reset - found[i].ts) / week) == std::floor((reset - found[i - 1].ts) / week);
        if (isSameWeek) {
            EXPECT_GE(found[i].sevenDays, found[i - 1].sevenDays) << found[i].ts;
        }
    }
}

TEST(DemoHistory, isAbsentWhereItCannotBeWritten) {
    const LogFolder folder;
    const DemoWish wish{1, static_cast<DemoTime::Milliseconds>(demoNow * 1000), 2};
    const auto sessions = planDemo(wish);
    std::filesystem::create_directories(folder.path("folder"));
    EXPECT_FALSE(demoHistory(folder.path("folder"), sessions, wish));
    EXPECT_FALSE(demoHistory(folder.write("bytes", std::string(5000, 'x')), sessions, wish));
    EXPECT_TRUE(demoHistory(folder.path("new"), sessions, wish));
}

TEST(DemoHistory, isThereForAnyNumberOfSessionsAndAnyInstant) {
    for (const auto& [now, count] :
         {std::pair<double, std::size_t>{6652800, 1}, {6652800, 6}, {253402300799, 2}}) {
        const LogFolder folder;
        const DemoWish wish{3, static_cast<DemoTime::Milliseconds>(now) * 1000, count};
        ASSERT_TRUE(demoHistory(folder.path("history"), planDemo(wish), wish)) << now;
        SnapshotStore store(folder.path("history"));
        EXPECT_GE(store.recent(1000).size(), 76u);
        EXPECT_GT(store.recentClaude(90, now).size(), 800u);
    }
}

}  // namespace
}  // namespace ledgerfern
