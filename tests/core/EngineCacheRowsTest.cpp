#include <sqlite3.h>

#include "EngineCacheFixture.h"

// What stands in rows, and what becomes of files that change while a scan is under way.

namespace ledgerfern {
namespace {

using test::ClaudeLog;
using test::claudeUsage;
using test::CodexLog;
using test::EngineCacheFixture;
using test::setModified;
using test::usage;

using EngineCacheRows = EngineCacheFixture;

/// Longer than any other log here.
std::string longLog() {
    return CodexLog().meta().tokens(usage(100, 0, 10)).text + std::string(5000, '\n');
}

TEST_F(EngineCacheRows, aRecordHasTheIdThatTheLogOrItsNameTells) {
    const std::string rollout =
        "codex/rollout-2026-03-01T10-00-00-0193a5b2-1111-2222-3333-444455556666.jsonl";
    write(rollout, codexLog(100));
    write("codex/short.jsonl", codexLog(100));
    write("claude/told.jsonl", claudeLog(100));
    write("claude/untold.jsonl", ClaudeLog().user("Fix it").assistant("r1", claudeUsage(100, 10)).text);
    run();
    const Rows found = rows();
    EXPECT_EQ(found.at(rollout).sessionId, "0-00-00-0193a5b2-1111-2222-3333-444455556666.json");
    EXPECT_EQ(found.at("codex/short.jsonl").sessionId, home / "codex/short.jsonl");
    EXPECT_EQ(found.at("claude/told.jsonl").sessionId, "s1");
    EXPECT_EQ(found.at("claude/untold.jsonl").sessionId, std::nullopt);
}

TEST_F(EngineCacheRows, aFileThatGrowsBeforeItIsReadIsReadAgainByTheNextRun) {
    write("codex/long.jsonl", longLog());
    const std::string text = codexLog(200);
    write("codex/short.jsonl", text);
    const Inputs expected = {{"codex/long.jsonl", 100}, {"codex/short.jsonl", 250}};
    Engine engine = engineInterruptedBy(
        [this] { append("codex/short.jsonl", CodexLog().tokens(usage(250, 0, 20)).text, longAgo + 5); });
    EXPECT_EQ(inputs(engine.rescan(cached())), expected);
    const Rows before = rows();
    const Row& row = before.at("codex/short.jsonl");
    EXPECT_EQ(row.size, static_cast<std::int64_t>(text.size()));
    EXPECT_EQ(row.mtime, 1'000'000);
    EXPECT_EQ(row.consumed,
              static_cast<std::int64_t>(std::filesystem::file_size(home / "codex/short.jsonl")));
    EXPECT_EQ(inputs(engine.rescan(cached())), expected);
    EXPECT_EQ(inputs(run()), expected);
    EXPECT_EQ(writtenSince(before), Names{"codex/short.jsonl"});
}

TEST_F(EngineCacheRows, aFileThatShrinksBeforeItIsReadGetsNoRow) {
    write("codex/long.jsonl", longLog());
    const std::string text = codexLog(200) + CodexLog().tokens(usage(250, 0, 20)).text;
    write("codex/short.jsonl", text);
    Engine engine = engineInterruptedBy([this] { write("codex/short.jsonl", codexLog(300)); });
    const Inputs shrunk = {{"codex/long.jsonl", 100}, {"codex/short.jsonl", 300}};
    EXPECT_EQ(inputs(engine.rescan(cached())), shrunk);
    EXPECT_EQ(rowNames(), Names{"codex/long.jsonl"});
    EXPECT_EQ(inputs(engine.rescan(cached())), shrunk);
    EXPECT_EQ(rowNames(), Names{"codex/long.jsonl"}) << "it has a live state by now";

    write("codex/short.jsonl", text);
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/long.jsonl", 100}, {"codex/short.jsonl", 250}}));
    EXPECT_EQ(rows().size(), 2U);
}

TEST_F(EngineCacheRows, aFileThatVanishesBeforeItIsReadHasAnEmptyRowUntilTheNextScan) {
    write("codex/long.jsonl", longLog());
    const std::string text = codexLog(200);
    write("codex/short.jsonl", text);
    Engine engine = engineInterruptedBy([this] { remove("codex/short.jsonl"); });
    const Snapshot first = engine.rescan(cached());
    EXPECT_EQ(inputs(first), (Inputs{{"codex/long.jsonl", 100}}));
    EXPECT_EQ(files(first, ToolKind::codex), 2);
    const Row row = rows().at("codex/short.jsonl");
    EXPECT_EQ(row.size, static_cast<std::int64_t>(text.size()));
    EXPECT_EQ(row.consumed, 0);
    EXPECT_FALSE(row.wasUsable);
    EXPECT_EQ(files(engine.rescan(cached()), ToolKind::codex), 2) << "it counts once more";
    EXPECT_EQ(rowNames(), Names{"codex/long.jsonl"});
}

TEST_F(EngineCacheRows, aFolderNamedLikeALogGetsNoRow) {
    std::filesystem::create_directories(home / "codex/x.jsonl/inside");
    setModified(home / "codex/x.jsonl", longAgo);
    if (statFile(home / "codex/x.jsonl")->size == 0) GTEST_SKIP() << "a folder has no size here";
    for (int runs = 0; runs < 2; ++runs) {
        const Snapshot snapshot = run();
        EXPECT_TRUE(snapshot.sessions.empty());
        EXPECT_EQ(files(snapshot, ToolKind::codex), 1);
        EXPECT_EQ(rowNames(), Names());
    }
}

/// Happens when the thread names are looked for: the files have been found by then, and none has been read.
class WhileScanning {
public:
    explicit WhileScanning(std::function<void()> what) {
        event = std::move(what);
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(happen));
    }
    ~WhileScanning() { sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(happen)); }
    WhileScanning(const WhileScanning&) = delete;
    WhileScanning& operator=(const WhileScanning&) = delete;

private:
    static int happen() {
        event();
        return SQLITE_OK;
    }
    static inline std::function<void()> event;
};

TEST_F(EngineCacheRows, aLiveFileThatVanishesBeforeItIsReadStaysAsItWasUntilTheNextScan) {
    write("codex/a.jsonl", codexLog(100));
    Engine engine = newEngine();
    engine.rescan(cached());
    append("codex/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text, longAgo + 1);
    home.write("state_5.sqlite", "");
    bool hasHappened = false;
    {
        const WhileScanning vanishing([&] {
            hasHappened = true;
            remove("codex/a.jsonl");
        });
        EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 100}}));
    }
    EXPECT_TRUE(hasHappened);
    EXPECT_EQ(rowNames(), Names{"codex/a.jsonl"});
    EXPECT_TRUE(engine.rescan(cached()).sessions.empty());
    EXPECT_TRUE(rows().empty());
}

TEST_F(EngineCacheRows, countersAreAsExactInTheRunThatWroteThemAsInTheNext) {
    constexpr std::int64_t beyondDoubles = 9'007'199'254'740'993;
    const auto log = [](std::int64_t number) {
        const test::Json limits = {{"primary", {{"used_percent", 5}, {"resets_at", number}}}};
        return CodexLog().meta().tokens(usage(number, 0, 10), std::nullopt, limits).text;
    };
    const auto numbersOf = [](const Snapshot& snapshot) {
        const SessionResult& session = *snapshot.sessions.at(0);
        return std::pair(session.requests[0].d.inputTokens,
                         session.rlDaily.empty() ? 0 : session.rlDaily.begin()->second.resetsAt.value_or(0));
    };
    write("codex/a.jsonl", log(beyondDoubles));
    Engine engine = newEngine();
    EXPECT_EQ(numbersOf(engine.rescan(cached())), (std::pair{beyondDoubles, beyondDoubles}));
    const auto next = numbersOf(run());
    EXPECT_EQ(next, (std::pair{beyondDoubles - 1, beyondDoubles - 1}));
    std::filesystem::rename(home / "codex/a.jsonl", home / "away");
    engine.rescan(cached());
    std::filesystem::rename(home / "away", home / "codex/a.jsonl");
    EXPECT_EQ(numbersOf(engine.rescan(cached())), next);
}

TEST_F(EngineCacheRows, aRequestWithoutATimeGetsTheOneOfTheCachesClock) {
    constexpr Instant other = now + 500;
    write("codex/a.jsonl", CodexLog().meta().withoutTime().tokens(usage(100, 0, 10)).text);
    const Snapshot first =
        Engine(roots(), fixedClock(now), 2, database(), fixedClock(other)).rescan(cached());
    EXPECT_EQ(first.generatedAt, now);
    EXPECT_EQ(run().sessions.at(0)->requests[0].ts, other);
}

}  // namespace
}  // namespace ledgerfern
