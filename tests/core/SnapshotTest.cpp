#include "Analytics/Snapshot.h"

#include <gtest/gtest.h>

#include "SessionSamples.h"

namespace ledgerfern {
namespace {

SessionResult sessionOf(ToolKind tool, Instant lastTs, std::int64_t total) {
    SessionResult result = session({requestAt(lastTs, total)});
    result.tool = tool;
    result.lastTs = lastTs;
    return result;
}

Snapshot sample() {
    Snapshot snapshot;
    snapshot.sessions = listOf({sessionOf(ToolKind::codex, 3e6, 1), sessionOf(ToolKind::claudeCode, 2e6, 2),
                                sessionOf(ToolKind::codex, 1e6, 4)});
    snapshot.filesPerTool = {{ToolKind::codex, 5}};
    snapshot.aggregates = Aggregates(snapshot.sessions, 5, 4e6);
    return snapshot;
}

TEST(Snapshot, givesAllSessionsWithoutATool) {
    const Snapshot snapshot = sample();
    EXPECT_EQ(snapshot.sessionsOf(std::nullopt), snapshot.sessions);
    EXPECT_EQ(snapshot.aggregatesOf(std::nullopt), snapshot.aggregates);
}

TEST(Snapshot, givesTheSessionsOfOneToolInOrder) {
    const Snapshot snapshot = sample();
    EXPECT_EQ(snapshot.sessionsOf(ToolKind::codex),
              (SessionList{snapshot.sessions[0], snapshot.sessions[2]}));
    EXPECT_EQ(snapshot.sessionsOf(ToolKind::claudeCode), SessionList{snapshot.sessions[1]});
}

TEST(Snapshot, rollsOneToolUpByTheOverallAnchor) {
    const Aggregates codex = sample().aggregatesOf(ToolKind::codex);
    EXPECT_EQ(codex.filesScanned, 5);
    EXPECT_EQ(codex.sessionsAnalyzed, 2);
    EXPECT_EQ(codex.totals.totalTokens, 5);
    EXPECT_EQ(codex.cycleAnchor, 4e6);
    EXPECT_EQ(codex.currentCycleKey(), "3395200");
}

TEST(Snapshot, aToolWithoutFilesHasNone) {
    const Aggregates claude = sample().aggregatesOf(ToolKind::claudeCode);
    EXPECT_EQ(claude.filesScanned, 0);
    EXPECT_EQ(claude.totals.totalTokens, 2);
}

}  // namespace
}  // namespace ledgerfern
