#include "UsageRecords/Records.h"

#include <gtest/gtest.h>

#include <limits>

#include "UsageRecords/SessionResult.h"

namespace ledgerfern {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

TEST(Records, aToolKindHasAShortRawValue) {
    EXPECT_EQ(rawValue(ToolKind::codex), "codex");
    EXPECT_EQ(rawValue(ToolKind::claudeCode), "claude");
    EXPECT_EQ(toolKind("codex"), ToolKind::codex);
    EXPECT_EQ(toolKind("claude"), ToolKind::claudeCode);
    for (const char* other : {"claudeCode", "", "Codex", "claude "})
        EXPECT_EQ(toolKind(other), std::nullopt) << other;
}

TEST(Records, aRequestItemKindHasAShortRawValue) {
    EXPECT_EQ(rawValue(RequestItemKind::assistant), "asst");
    EXPECT_EQ(rawValue(RequestItemKind::addition), "add");
    EXPECT_EQ(requestItemKind("asst"), RequestItemKind::assistant);
    EXPECT_EQ(requestItemKind("add"), RequestItemKind::addition);
    for (const char* other : {"assistant", "addition", "", "ADD"})
        EXPECT_EQ(requestItemKind(other), std::nullopt) << other;
}

TEST(Records, toolStatsAddUpFieldByField) {
    ToolStat stat;
    EXPECT_EQ(stat, (ToolStat{0, 0, 0}));
    stat.add({1, 20, 300});
    stat.add({2, 30, 400});
    EXPECT_EQ(stat, (ToolStat{3, 50, 700}));
    stat.add({0, most, 0});
    EXPECT_EQ(stat, (ToolStat{3, 50, 700})) << "a sum that leaves 64 bits isn't made";
}

TEST(Records, recordsCompareByAllTheirFields) {
    EXPECT_NE((ToolStat{1, 0, 0}), ToolStat{});
    EXPECT_NE((ToolStat{0, 1, 0}), ToolStat{});
    EXPECT_NE((ToolStat{0, 0, 1}), ToolStat{});
    EXPECT_EQ(RateLimitInfo{}, RateLimitInfo{});
    EXPECT_NE((RateLimitInfo{42.5, {}, {}, {}}), RateLimitInfo{});
    EXPECT_NE((RateLimitInfo{{}, 300, {}, {}}), RateLimitInfo{});
    EXPECT_NE((RateLimitInfo{{}, {}, 0, {}}), RateLimitInfo{});
    EXPECT_NE((RateLimitInfo{{}, {}, {}, ""}), RateLimitInfo{}) << "an empty text is not an absent one";
    EXPECT_NE((SourceInfo{"cli", false, {}, {}, false}), SourceInfo{});
    EXPECT_NE((SourceInfo{"", true, {}, {}, false}), SourceInfo{});
    EXPECT_NE((SourceInfo{"", false, "", {}, false}), SourceInfo{});
    EXPECT_NE((SourceInfo{"", false, {}, "", false}), SourceInfo{});
    EXPECT_NE((SourceInfo{"", false, {}, {}, true}), SourceInfo{});
}

TEST(Records, aFreshSourceHasNothing) {
    const SourceInfo source;
    EXPECT_EQ(source.raw, "");
    EXPECT_FALSE(source.isSubagent || source.isGuardian);
    EXPECT_FALSE(source.nickname || source.parentThread);
}

TEST(Records, aFreshSessionKnowsNeitherProjectNorFolder) {
    const SessionResult session;
    EXPECT_EQ(session.project, "?");
    EXPECT_EQ(session.cwd, "?");
    EXPECT_FALSE(session.model || session.firstMessage || session.started || session.lastTs ||
                 session.rateLimit);
    EXPECT_EQ(session.insights, SessionInsights{});
    EXPECT_TRUE(session.requests.empty() && session.tools.empty() && session.rlDaily.empty());
}

TEST(Records, aSessionIsKnownByItsPath) {
    SessionResult session;
    session.path = "/logs/a.jsonl";
    EXPECT_EQ(session.id(), "/logs/a.jsonl");
    SessionResult copy = session;
    EXPECT_EQ(copy, session);
    copy.insights.cacheBreaks = 1;
    EXPECT_NE(copy, session);
}

}  // namespace
}  // namespace ledgerfern
