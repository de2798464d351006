#include <gtest/gtest.h>

#include "ClaudeLog.h"
#include "CodexLog.h"
#include "Engine/Engine.h"
#include "TempFolder.h"

namespace ledgerfern {
namespace {

using test::ClaudeLog;
using test::claudeTime;
using test::claudeUsage;
using test::CodexLog;
using test::Json;
using test::TempFolder;
using test::usage;

using FileCounts = std::map<ToolKind, std::int64_t>;

constexpr Instant now = 1772400000;  // 2026-03-01 21:20 UTC

std::string claudeLog(std::int64_t input = 1'000) {
    return ClaudeLog().user("Fix it", {{"sessionId", "s1"}}).assistant("r1", claudeUsage(input, 10)).text;
}

/// Two lines, so that it ends when `claudeLog` does.
std::string codexLog(std::int64_t input = 100) {
    return CodexLog().meta().tokens(usage(input, 0, 10)).text;
}

/// An engine over one root of each agent.
class EngineClaudeTest : public testing::Test {
protected:
    static ScanOptions finished() {
        ScanOptions options;
        options.finishFiles = true;
        return options;
    }

    TempFolder home;
    Engine engine{
        {{home / "codex", ToolKind::codex}, {home / "claude", ToolKind::claudeCode}}, fixedClock(now), 2};
};

TEST_F(EngineClaudeTest, bothAgentsStandSideBySide) {
    const std::string claude = home.write("claude/p/a.jsonl", claudeLog());
    const std::string nameless =
        home.write("claude/p/b.jsonl", ClaudeLog().assistant("r1", claudeUsage(5, 1)).text);
    const std::string codex = home.write("codex/c.jsonl", codexLog());
    const Snapshot snapshot = engine.rescan();
    ASSERT_EQ(snapshot.sessions.size(), 3U);
    EXPECT_EQ(snapshot.sessions[0]->path, codex) << "of two that end together Codex's comes first";
    EXPECT_EQ(snapshot.sessions[1]->path, claude);
    EXPECT_EQ(snapshot.sessions[2]->path, nameless);
    EXPECT_EQ(snapshot.sessionIDs,
              (std::map<std::string, std::string>{{claude, "s1"}, {nameless, nameless}, {codex, codex}}));
    EXPECT_EQ(snapshot.filesPerTool,
              (std::map<ToolKind, std::int64_t>{{ToolKind::codex, 1}, {ToolKind::claudeCode, 2}}));
    EXPECT_EQ(snapshot.aggregates.totals.totalTokens, 110 + 1'010 + 6);
    EXPECT_EQ(snapshot.aggregatesOf(ToolKind::claudeCode).totals.totalTokens, 1'016);
    EXPECT_EQ(snapshot.aggregatesOf(ToolKind::claudeCode).filesScanned, 2);
    EXPECT_EQ(snapshot.sessionsOf(ToolKind::codex).size(), 1U);
}

TEST_F(EngineClaudeTest, aSubAgentsLogIsASessionOfItsOwn) {
    home.write("claude/p/s1.jsonl", claudeLog());
    home.write("claude/p/s1/subagents/agent-1.jsonl", claudeLog());
    const Snapshot snapshot = engine.rescan();
    ASSERT_EQ(snapshot.sessions.size(), 2U);
    EXPECT_FALSE(snapshot.sessions[0]->source.isSubagent);
    EXPECT_TRUE(snapshot.sessions[1]->source.isSubagent);
}

TEST_F(EngineClaudeTest, aGrowingLogIsFollowed) {
    home.write("claude/a.jsonl", claudeLog());
    const Snapshot first = engine.rescan();
    home.append("claude/a.jsonl", ClaudeLog().assistant("r2", claudeUsage(500, 1)).text);
    home.write("codex/c.jsonl", codexLog());
    const Snapshot second = engine.rescan();
    EXPECT_EQ(first.sessions[0]->requests.size(), 1U);
    EXPECT_EQ(second.aggregates.totals.inputTokens, 1'500 + 100);
    home.write("claude/a.jsonl", claudeLog(7));
    EXPECT_EQ(engine.rescan().aggregates.totals.inputTokens, 7 + 100) << "a truncated file is read anew";
    std::filesystem::remove(home / "claude/a.jsonl");
    EXPECT_EQ(engine.rescan().aggregates.totals.inputTokens, 100);
}

TEST_F(EngineClaudeTest, anUnfinishedLineCountsOnceTheFileIsFinished) {
    std::string text = claudeLog();
    text.pop_back();
    home.write("claude/a.jsonl", text);
    EXPECT_TRUE(engine.rescan().sessions.empty());
    EXPECT_EQ(engine.rescan(finished()).sessions.size(), 1U);
    Engine fresh({{home / "claude", ToolKind::claudeCode}}, fixedClock(now), 1);
    EXPECT_EQ(fresh.rescan(finished()).sessions.size(), 1U);
}

TEST_F(EngineClaudeTest, whatFollowsAFinishedLineIsALineOfItsOwn) {
    std::string text = claudeLog(1'000);
    text.pop_back();
    home.write("claude/a.jsonl", text);
    EXPECT_EQ(engine.rescan(finished()).aggregates.totals.inputTokens, 1'000);
    const std::string more = ClaudeLog().assistant("r2", claudeUsage(70, 1)).text;
    home.append("claude/a.jsonl", "\n" + more);
    const Snapshot whole = engine.rescan();
    EXPECT_EQ(whole.aggregates.totals.inputTokens, 1'070);
    EXPECT_EQ(whole.malformedLines, 0);
    const std::string cut = ClaudeLog().assistant("r3", claudeUsage(5, 1)).text;
    const std::size_t middle = cut.find("\"input_tokens\"");
    home.append("claude/a.jsonl", cut.substr(0, middle));
    EXPECT_EQ(engine.rescan(finished()).malformedLines, 1);
    home.append("claude/a.jsonl", cut.substr(middle));
    const Snapshot torn = engine.rescan();
    EXPECT_EQ(torn.malformedLines, 2) << "each half has a marker";
    EXPECT_EQ(torn.aggregates.totals.inputTokens, 1'070) << "the request is lost";
}

TEST_F(EngineClaudeTest, theFullResultHasTheUnfinishedLastLine) {
    std::string text = claudeLog() + ClaudeLog().assistant("r2", claudeUsage(500, 1)).text;
    text.pop_back();
    const std::string path = home.write("claude/a.jsonl", text);
    EXPECT_EQ(engine.rescan().sessions[0]->requests.size(), 1U);
    const auto full = engine.fullResult(path);
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->requests.size(), 2U);
    EXPECT_EQ(full->tool, ToolKind::claudeCode);
    EXPECT_EQ(engine.currentSnapshot().sessions[0]->requests.size(), 1U);
}

TEST_F(EngineClaudeTest, malformedLinesOfBothAgentsAdd) {
    home.write("claude/a.jsonl", "{\"cwd\":\n");
    home.write("codex/c.jsonl", "{\"event_msg\"\n{\"call_id\":\"token_count\"\n");
    EXPECT_EQ(engine.rescan().malformedLines, 3);
}

TEST_F(EngineClaudeTest, warnsOfRecentRepliesWithoutTokenCounts) {
    ClaudeLog log;
    for (int i = 0; i < 4; ++i)
        log.record("assistant", {{"message", {{"model", "claude-opus-4-1"}}}});
    home.write("claude/a.jsonl", log.text);
    const Snapshot snapshot = engine.rescan();
    ASSERT_EQ(snapshot.formatWarnings.size(), 1U);
    EXPECT_TRUE(snapshot.formatWarnings[0].starts_with("1 recent Claude Code session have replies"));
    EXPECT_TRUE(snapshot.sessions.empty());
    Engine later({{home / "claude", ToolKind::claudeCode}}, fixedClock(claudeTime(4) + 1'209'600.5), 1);
    EXPECT_TRUE(later.rescan().formatWarnings.empty());
}

TEST_F(EngineClaudeTest, weighsRepliesWithoutTokenCountsAgainstTheRequests) {
    ClaudeLog log;
    for (const char* id : {"r1", "r2", "r3"})
        log.assistant(id, claudeUsage(1, 1));
    for (int i = 0; i < 6; ++i)
        log.record("assistant", {{"message", {{"model", "claude-opus-4-1"}}}});
    home.write("claude/a.jsonl", log.text);
    EXPECT_TRUE(engine.rescan().formatWarnings.empty());
    home.append("claude/a.jsonl", ClaudeLog().record("assistant").text);
    EXPECT_EQ(engine.rescan().formatWarnings.size(), 1U);
}

TEST_F(EngineClaudeTest, theAttributionCutOffIsCodexsAlone) {
    home.write("claude/a.jsonl", claudeLog());
    ScanOptions options;
    options.attribCutoff = now;
    EXPECT_EQ(engine.rescan(options).sessions[0]->tools.size(), 1U);
}

TEST_F(EngineClaudeTest, aFileInRootsOfBothKindsIsReadByBoth) {
    const std::string path = home.write("x/y/a.jsonl", claudeLog() + codexLog());
    Engine both({{home / "x", ToolKind::codex}, {home / "x/y", ToolKind::claudeCode}}, fixedClock(now), 1);
    for (int scan = 0; scan < 2; ++scan) {
        const Snapshot snapshot = both.rescan();
        ASSERT_EQ(snapshot.sessions.size(), 2U);
        EXPECT_EQ(snapshot.sessions[0]->tool, ToolKind::codex);
        EXPECT_EQ(snapshot.sessions[1]->tool, ToolKind::claudeCode);
        EXPECT_EQ(snapshot.sessionIDs.at(path), "s1");
    }
    EXPECT_EQ(both.fullResult(path)->tool, ToolKind::codex);
    EXPECT_EQ(both.currentSnapshot().filesPerTool.at(ToolKind::claudeCode), 1) << "the deeper root counts it";
}

TEST_F(EngineClaudeTest, theFullResultIsCodexsWhereBothAgentsReadTheFileUsableOrNot) {
    const std::string path = home.write("x/y/a.jsonl", claudeLog());
    Engine both({{home / "x", ToolKind::codex}, {home / "x/y", ToolKind::claudeCode}}, fixedClock(now), 1);
    const Snapshot snapshot = both.rescan();
    ASSERT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(snapshot.sessions[0]->tool, ToolKind::claudeCode);
    const auto full = both.fullResult(path);
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->tool, ToolKind::codex);
    EXPECT_EQ(full->project, "?");
    EXPECT_TRUE(full->requests.empty());
}

TEST_F(EngineClaudeTest, aFileInOneRootOfBothKindsCountsForBothWhenItIsReadAndThenForTheFirst) {
    home.write("x/a.jsonl", claudeLog());
    const ToolRoot codex{home / "x", ToolKind::codex}, claude{home / "x", ToolKind::claudeCode};
    for (const auto& roots : {std::vector{codex, claude}, std::vector{claude, codex}}) {
        Engine both(roots, fixedClock(now), 1);
        EXPECT_EQ(both.rescan().filesPerTool, (FileCounts{{ToolKind::codex, 1}, {ToolKind::claudeCode, 1}}));
        EXPECT_EQ(both.currentSnapshot().filesPerTool, (FileCounts{{roots[0].kind, 1}}));
        const Snapshot later = both.rescan();
        EXPECT_EQ(later.filesPerTool, (FileCounts{{roots[0].kind, 1}}));
        EXPECT_EQ(later.sessions.size(), 1U);
    }
}

TEST_F(EngineClaudeTest, aVanishedFileIsCountedOnceMoreForItsAgent) {
    home.write("codex/c.jsonl", codexLog());
    const std::string path = home.write("claude/a.jsonl", claudeLog());
    engine.rescan();
    std::filesystem::remove(path);
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(snapshot.filesPerTool, (FileCounts{{ToolKind::codex, 1}, {ToolKind::claudeCode, 1}}));
    EXPECT_EQ(engine.rescan().filesPerTool, (FileCounts{{ToolKind::codex, 1}}));
    EXPECT_FALSE(engine.fullResult(path).has_value());
}

TEST_F(EngineClaudeTest, everyNumberOfWorkersGivesTheSameSnapshot) {
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::to_string(i) + ".jsonl";
        home.write("claude/" + name, claudeLog(1'000 + i));
        home.write("codex/" + name, codexLog(100 + i));
    }
    std::optional<Snapshot> first;
    for (const unsigned workers : {1U, 2U, 8U}) {
        Engine other({{home / "codex", ToolKind::codex}, {home / "claude", ToolKind::claudeCode}},
                     fixedClock(now), workers);
        const Snapshot snapshot = other.rescan();
        if (!first) first = snapshot;
        EXPECT_EQ(snapshot.aggregates, first->aggregates);
        ASSERT_EQ(snapshot.sessions.size(), 80U);
        for (std::size_t i = 0; i < snapshot.sessions.size(); ++i)
            EXPECT_EQ(*snapshot.sessions[i], *first->sessions[i]);
    }
}

}  // namespace
}  // namespace ledgerfern
