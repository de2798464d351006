#include "Analytics/InsightRules.h"

#include <gtest/gtest.h>

#include <limits>

#include "Analytics/CostEstimator.h"
#include "SessionSamples.h"

namespace ledgerfern {
namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();
constexpr auto least = std::numeric_limits<std::int64_t>::min();

using Ids = std::vector<std::string>;

/// A session that breaks its cache so often and has a request so large.
SessionResult troubled(std::string path, std::int64_t rebuilt, std::int64_t peak) {
    SessionResult result = inLog(std::move(path), session({}));
    result.insights.cacheBreaks = 3;
    result.insights.rebuiltTokens = rebuilt;
    result.insights.peakInput = peak;
    return result;
}

Ids idsOf(const std::vector<SessionResult>& sessions, std::int64_t tokensEach = 1) {
    const SessionList list = listOf(sessions);
    SessionCounts tokens;
    for (const SessionPointer& session : list)
        tokens.set(session->path, tokensEach);
    Ids ids;
    for (const Insight& insight : InsightRules::derive(list, tokens, PriceTable()))
        ids.push_back(insight.id);
    return ids;
}

TEST(InsightRules, findNothingWithoutTokensInScope) {
    const std::vector<SessionResult> sessions = {troubled("/a", 5'000'000, 200'000)};
    EXPECT_EQ(idsOf({}), Ids{});
    EXPECT_EQ(idsOf(sessions, 0), Ids{});
    EXPECT_EQ(idsOf(sessions, -7), Ids{});
    EXPECT_EQ(InsightRules::derive(listOf(sessions), {{"/b", 5}}, PriceTable()), std::vector<Insight>{});
    EXPECT_EQ(idsOf(sessions, 1), Ids{"cache-breaks"});
}

TEST(InsightRules, putWarningsBeforeHeavierNotices) {
    // A warning of 10 tokens against notices of 100,000 to 5 million.
    SessionResult low = inLog("/c", session({}));
    low.totals.inputTokens = 5'000'000;
    const SessionResult agents = [] {
        SessionResult result = inLog("/d", session({}));
        result.tools = ToolTable({{"tool:Read", {1, 10, 0}}});
        return result;
    }();
    EXPECT_EQ(idsOf({troubled("/a", 50'000, 160'000), troubled("/b", 50'000, 150'000), low, agents}),
              (Ids{"consumer-tool:Read", "low-cache-p", "long-contexts", "cache-breaks"}));
}

/// Main sessions of one project: so many, with so large a first request each.
std::vector<SessionResult> startingWith(std::int64_t input, int count) {
    std::vector<SessionResult> sessions;
    for (int i = 0; i < count; ++i) {
        sessions.push_back(inLog("/main/" + std::to_string(i), session({})));
        sessions.back().insights.startupInput = input;
    }
    return sessions;
}

/// What `tool:Read` has added to the context, and what the user has.
ToolTable readAndWritten(std::int64_t read, std::int64_t written) {
    return ToolTable({{"tool:Read", {1, read, 0}}, {"user messages", {1, written, 0}}});
}

// No more than four can tie: one of them is never a notice, another always is one of millions of tokens.

TEST(InsightRules, keepTheirOrderWhereSmallNoticesTie) {
    std::vector<SessionResult> sessions = startingWith(40'000, 6);  // 240,000 tokens in all
    sessions[0].insights.cacheBreaks = 3;
    sessions[0].insights.rebuiltTokens = 240'000;
    sessions[0].insights.peakInput = sessions[1].insights.peakInput = 240'000;
    sessions[0].tools = readAndWritten(240'000, 560'000);
    EXPECT_EQ(idsOf(sessions),
              (Ids{"cache-breaks", "startup-overhead", "consumer-tool:Read", "long-contexts"}));
}

TEST(InsightRules, keepTheirOrderWhereLargeNoticesTie) {
    std::vector<SessionResult> sessions = startingWith(40'000, 60);  // 2.4 million tokens in all
    for (SessionResult& session : sessions)
        session.totals.inputTokens = 40'000;
    sessions[0].insights.peakInput = sessions[1].insights.peakInput = 2'400'000;
    sessions[0].tools = readAndWritten(2'400'000, 5'600'000);
    EXPECT_EQ(idsOf(sessions),
              (Ids{"startup-overhead", "consumer-tool:Read", "long-contexts", "low-cache-p"}));
}

TEST(InsightRules, keepTheirOrderWhereWarningsTie) {
    std::vector<SessionResult> sessions = startingWith(600'000, 2);  // 1.2 million tokens in all
    sessions[0].insights.cacheBreaks = 3;
    sessions[0].insights.rebuiltTokens = 1'200'000;
    sessions[0].tools = readAndWritten(1'200'000, 0);
    for (const char* path : {"/a", "/b", "/c"}) {
        sessions.push_back(inLog(path, session({})));
        sessions.back().source.isSubagent = true;
    }
    EXPECT_EQ(idsOf(sessions, 400'000),
              (Ids{"cache-breaks", "startup-overhead", "consumer-tool:Read", "subagents"}));
}

TEST(InsightRules, allSixMayApply) {
    std::vector<SessionResult> sessions;
    for (const char* path : {"/a", "/b", "/c"}) {
        sessions.push_back(troubled(path, 1'000'000, 200'000));
        sessions.back().insights.startupInput = 40'000;
        sessions.back().totals.inputTokens = 1'000'000;
        sessions.back().tools = ToolTable({{"tool:Read", {1, 100, 0}}});
    }
    for (const char* path : {"/d", "/e", "/f"}) {
        sessions.push_back(inLog(path, session({})));
        sessions.back().source.isSubagent = true;
    }
    EXPECT_EQ(idsOf(sessions), (Ids{"cache-breaks", "consumer-tool:Read", "subagents", "low-cache-p",
                                    "long-contexts", "startup-overhead"}));
}

TEST(InsightRules, takeTheTokensInTheOrderOfTheSessionsToo) {
    std::vector<SessionResult> sessions;
    for (const char* path : {"/a", "/b", "/c", "/d"}) {
        sessions.push_back(inLog(path, session({})));
        sessions.back().source.isSubagent = path[1] != 'd';
    }
    const SessionList list = listOf(sessions);
    const SessionCounts tokens = {{"/a", 10}, {"/b", 0}, {"/c", 25}, {"/d", 65}};
    const std::vector<std::int64_t> inOrder = {10, 0, 25, 65};
    const auto found = InsightRules::derive(list, inOrder, PriceTable());
    EXPECT_EQ(found.at(0).title, "Sub-agents used 35% of tokens");
    EXPECT_EQ(found, InsightRules::derive(list, tokens, PriceTable()));
}

TEST(InsightRules, orderSeveritiesByTheirNumbers) {
    EXPECT_EQ(static_cast<int>(Severity::info), 0);
    EXPECT_EQ(static_cast<int>(Severity::notice), 1);
    EXPECT_EQ(static_cast<int>(Severity::warning), 2);
    EXPECT_LT(Severity::info, Severity::warning);
    EXPECT_EQ(nameOf(Severity::info), "info");
    EXPECT_EQ(nameOf(Severity::notice), "notice");
    EXPECT_EQ(nameOf(Severity::warning), "warning");
}

TEST(InsightRules, writeNumbersInFewFigures) {
    using InsightRules::fmt;
    EXPECT_EQ(fmt(0), "0");
    EXPECT_EQ(fmt(999), "999");
    EXPECT_EQ(fmt(1'000), "1K");
    EXPECT_EQ(fmt(1'499), "1K");
    EXPECT_EQ(fmt(1'501), "2K");
    EXPECT_EQ(fmt(999'499), "999K");
    EXPECT_EQ(fmt(999'999), "1000K");
    EXPECT_EQ(fmt(1'000'000), "1.0M");
    EXPECT_EQ(fmt(1'260'000), "1.3M");
    EXPECT_EQ(fmt(2'500'000'000), "2500.0M");
    EXPECT_EQ(fmt(-999), "-999");
    EXPECT_EQ(fmt(-1'000), "-1K");
    EXPECT_EQ(fmt(-1'500'000), "-1.5M");
    EXPECT_EQ(fmt(most), "9223372036854.8M");
    EXPECT_EQ(fmt(least), "-9223372036854.8M");
}

TEST(InsightRules, takeTheUpperMiddleValue) {
    using InsightRules::median;
    EXPECT_EQ(median({}), 0);
    EXPECT_EQ(median({7}), 7);
    EXPECT_EQ(median({40'000, 30'000}), 40'000);
    EXPECT_EQ(median({9, 1, 5}), 5);
    EXPECT_EQ(median({4, 1, 3, 2}), 3);
    EXPECT_EQ(median({most, least, 0}), 0);
}

}  // namespace
}  // namespace ledgerfern
