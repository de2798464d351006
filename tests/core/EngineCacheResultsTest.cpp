#include <array>
#include <barrier>
#include <map>
#include <thread>

#include "EngineCacheFixture.h"

// What restored sessions are, and what they can't tell.

namespace ledgerfern {
namespace {

using test::ClaudeLog;
using test::claudeUsage;
using test::CodexLog;
using test::EngineCacheFixture;
using test::usage;

using EngineCacheResults = EngineCacheFixture;

const std::string rollout = "codex/rollout-2026-03-01T10-00-00-0193a5b2-1111-2222-3333-444455556666.jsonl";

TEST_F(EngineCacheResults, restoredSessionsHaveTheirPathForAnIdUnlessTheNameHasOne) {
    write(rollout, codexLog(100));
    write("codex/short.jsonl", codexLog(100));
    write("claude/c.jsonl", claudeLog(100));
    const std::map<std::string, std::string> live = run().sessionIDs, restored = run().sessionIDs;
    ASSERT_EQ(restored.size(), 3U);
    const std::string cut = "0-00-00-0193a5b2-1111-2222-3333-444455556666.json";
    EXPECT_EQ(live.at(home / rollout), cut);
    EXPECT_EQ(restored.at(home / rollout), live.at(home / rollout));
    EXPECT_EQ(restored.at(home / "codex/short.jsonl"), home / "codex/short.jsonl");
    EXPECT_EQ(live.at(home / "claude/c.jsonl"), "s1");
    EXPECT_EQ(restored.at(home / "claude/c.jsonl"), home / "claude/c.jsonl");
}

TEST_F(EngineCacheResults, malformedLinesAreToldOfInTheRunThatReadThem) {
    write("codex/a.jsonl", codexLog(100) + "{\"event_msg\"\n");
    EXPECT_EQ(run().malformedLines, 1);
    EXPECT_EQ(run().malformedLines, 0);
    EXPECT_EQ(run().sessions.size(), 1U);
}

TEST_F(EngineCacheResults, theFormatIsCheckedOnWhatWasRead) {
    CodexLog silent;
    silent.meta();
    for (int i = 0; i < 10; ++i)
        silent.item("message", {{"role", "user"}});
    write("codex/a.jsonl", silent.text);
    EXPECT_EQ(run().formatWarnings.size(), 1U);
    EXPECT_TRUE(run().formatWarnings.empty());
}

/// A finished request, one that is open, and the beginning of a line.
std::string codexWithAnEnd() {
    const std::string text = CodexLog()
                                 .meta()
                                 .message("user", "Hello")
                                 .withoutTime()
                                 .tokens(usage(100, 0, 10))
                                 .tokens(usage(150, 0, 20))
                                 .text;
    return text.substr(0, text.size() - 1);
}

TEST_F(EngineCacheResults, theFullResultOfARestoredCodexSessionIsReadFromItsFile) {
    write("codex/a.jsonl", codexWithAnEnd());
    const std::string path = home / "codex/a.jsonl";
    Engine first = newEngine();
    first.rescan(cached());
    const auto live = first.fullResult(path);
    Engine second = newEngine();
    const Snapshot restored = second.rescan(cached());
    ASSERT_EQ(restored.sessions.size(), 1U);
    EXPECT_EQ(restored.sessions[0]->requests.size(), 1U);
    EXPECT_EQ(restored.sessions[0]->requests[0].ts, now);
    const auto full = second.fullResult(path);
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->requests.size(), 2U);
    EXPECT_FALSE(full->requests[0].ts);
    EXPECT_TRUE(full->requests[0].dominant);
    EXPECT_EQ(full, live);
}

TEST_F(EngineCacheResults, theFullResultOfARestoredSessionLeavesNoTrace) {
    write("codex/a.jsonl", codexWithAnEnd());
    run();
    const Rows before = rows();
    Engine engine = newEngine();
    const Snapshot snapshot = engine.rescan(cached());
    engine.fullResult(home / "codex/a.jsonl");
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(engine.currentSnapshot().sessions, snapshot.sessions);
    EXPECT_EQ(engine.rescan(cached()).sessions[0]->requests.size(), 1U);
}

TEST_F(EngineCacheResults, theFullResultOfARestoredClaudeCodeSessionIsReadFromItsFile) {
    const std::string text = claudeLog(100) + ClaudeLog().assistant("r2", claudeUsage(50, 1)).text;
    write("claude/c.jsonl", text.substr(0, text.size() - 1));
    const std::string path = home / "claude/c.jsonl";
    Engine first = newEngine();
    first.rescan(cached());
    const auto live = first.fullResult(path);
    Engine second = newEngine();
    EXPECT_EQ(second.rescan(cached()).sessions.at(0)->requests.size(), 1U);
    const auto full = second.fullResult(path);
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->tool, ToolKind::claudeCode);
    EXPECT_EQ(full->requests.size(), 2U);
    EXPECT_EQ(full, live);
}

TEST_F(EngineCacheResults, theFullResultOfAVanishedFileIsAlmostEmpty) {
    write("codex/a.jsonl", codexLog(100));
    write("claude/c.jsonl", claudeLog(100));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    for (const auto& [name, kind] : std::map<std::string, ToolKind>{
             {"codex/a.jsonl", ToolKind::codex}, {"claude/c.jsonl", ToolKind::claudeCode}}) {
        remove(name);
        const auto full = engine.fullResult(home / name);
        ASSERT_TRUE(full.has_value()) << name;
        EXPECT_EQ(full->path, home / name);
        EXPECT_EQ(full->tool, kind);
        EXPECT_EQ(full->requests.size(), 0U);
        EXPECT_EQ(full->totals, UsageTotals());
    }
    EXPECT_EQ(inputs(engine.currentSnapshot()).size(), 2U);
}

TEST_F(EngineCacheResults, theFullResultHasNoAttributionCutOff) {
    write("codex/a.jsonl", CodexLog().meta().message("user", "x").tokens(usage(100, 0, 10)).text);
    ScanOptions options = cached();
    options.attribCutoff = now;
    EXPECT_TRUE(run(options).sessions.at(0)->tools.empty());
    Engine engine = newEngine();
    EXPECT_TRUE(engine.rescan(options).sessions.at(0)->tools.empty());
    EXPECT_EQ(engine.fullResult(home / "codex/a.jsonl").value().tools.size(), 1U);
}

TEST_F(EngineCacheResults, aFileThatTwoRootsFindIsThereOnce) {
    // So many that they aren't all taken at once, with the border between the two findings of one file.
    write("codex/a.jsonl", codexLog(100));
    for (int i = 0; i < 512; ++i)
        write("codex/inner/" + std::to_string(i) + ".jsonl", codexLog(100));
    Engine engine({{home / "codex", ToolKind::codex}, {home / "codex/inner", ToolKind::codex}},
                  fixedClock(now), 2, database());
    EXPECT_EQ(inputs(engine.rescan(cached())).size(), 513U);
    EXPECT_EQ(rows().size(), 513U);
    EXPECT_EQ(inputs(engine.rescan(cached())).size(), 513U);
}

TEST_F(EngineCacheResults, twoEnginesShareOneCacheFile) {
    Inputs expected;
    for (int i = 0; i < 30; ++i) {
        const std::string name = "codex/" + std::to_string(i) + ".jsonl";
        write(name, codexLog(100 + i));
        expected[name] = 100 + i;
    }
    std::array<std::thread, 2> threads;
    std::barrier haveOpened(static_cast<std::ptrdiff_t>(threads.size()));
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            Engine engine = newEngine();
            EXPECT_EQ(inputs(engine.rescan(quick())).size(), 0U);
            haveOpened.arrive_and_wait();
            EXPECT_EQ(inputs(engine.rescan(cached())), expected);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(inputs(run(quick())), expected);
}

TEST_F(EngineCacheResults, aBrokenCacheFileCostsNothingButTime) {
    write("codex/a.jsonl", codexLog(100));
    write("claude/c.jsonl", claudeLog(200));
    const Inputs expected = {{"codex/a.jsonl", 100}, {"claude/c.jsonl", 200}};
    home.write("cache.sqlite", std::string(5000, 'x'));
    for (int runs = 0; runs < 2; ++runs)
        EXPECT_EQ(inputs(run()), expected);
    remove("cache.sqlite");
    std::filesystem::create_directories(database());
    Engine engine = newEngine();
    for (int scans = 0; scans < 2; ++scans)
        EXPECT_EQ(inputs(engine.rescan(cached())), expected);
    // It remembers what it read all the same, as long as it lives.
    remove("codex/a.jsonl");
    engine.rescan(cached());
    write("codex/a.jsonl", codexLog(900));
    EXPECT_EQ(inputs(engine.rescan(cached())), expected);
}

TEST_F(EngineCacheResults, aRowThatCanNotBeReadIsReplaced) {
    write("codex/a.jsonl", codexLog(100));
    write("codex/b.jsonl", codexLog(200));
    run();
    auto opened = SqliteDatabase::open(database());
    ASSERT_TRUE(opened->execute("UPDATE files SET blob=x'7b7d' WHERE path LIKE '%/a.jsonl'"));
    disguise("codex/a.jsonl", codexLog(900));
    disguise("codex/b.jsonl", codexLog(900));
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 900}, {"codex/b.jsonl", 200}}));
    disguise("codex/a.jsonl", codexLog(300));
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 900}, {"codex/b.jsonl", 200}}));
}

TEST_F(EngineCacheResults, namesThatAreNotUtf8AreRestoredUnderTheirBytes) {
    write("codex/bad\xFF.jsonl", codexLog(100));
    run();
    disguise("codex/bad\xFF.jsonl", codexLog(900));
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/bad\xFF.jsonl", 100}}));
}

}  // namespace
}  // namespace ledgerfern
