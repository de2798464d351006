#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "tool/MadeUpHome.h"

// What the demo holds is to give advice of every sort, over all time and in the current cycle. Each bound
// here lies on the safe side of the one at which advice is given.

namespace ledgerfern {
namespace {

std::int64_t sum(const SessionList& sessions, const auto& value) {
    std::int64_t total = 0;
    for (const SessionPointer& session : sessions)
        total += value(*session);
    return total;
}

void expectCacheBreaks(const SessionList& sessions) {
    std::map<std::string, std::int64_t> reasons;
    for (const SessionPointer& session : sessions)
        for (const auto& [reason, count] : session->insights.breakReasons)
            reasons[reason] += count;
    for (const char* reason : {"idle", "model switch", "context changed", "compaction"})
        EXPECT_GE(reasons[reason], 2) << reason;
    EXPECT_GT(sum(sessions, [](const auto& session) { return session.insights.rebuiltTokens; }), 1'100'000);
}

/// Projects with two main sessions or more of which half start with so large a prompt.
std::set<std::string> heavyStarts(const SessionList& sessions, ToolKind tool, std::int64_t tokens) {
    std::map<std::string, std::vector<std::int64_t>> starts;
    for (const SessionPointer& session : sessions)
        if (session->tool == tool && !session->source.isSubagent)
            starts[session->project].push_back(session->insights.startupInput.value_or(0));
    std::set<std::string> heavy;
    for (auto& [project, values] : starts) {
        std::sort(values.begin(), values.end());
        if (values.size() >= 2 && values[values.size() / 2] >= tokens) heavy.insert(project);
    }
    return heavy;
}

/// The share of a label, or of all labels that begin with it and "/", in all that is attributed.
double shareOf(const SessionList& sessions, const std::string& label) {
    double total = 0, share = 0;
    for (const SessionPointer& session : sessions)
        for (const auto& [name, stat] : session->tools) {
            const auto impact = static_cast<double>(stat.attribInput + stat.attribOutput);
            total += impact;
            if (name == label || name.starts_with(label + "/")) share += impact;
        }
    return share / total;
}

double cacheRate(const SessionList& sessions, const std::string& project) {
    UsageTotals totals;
    for (const SessionPointer& session : sessions)
        if (session->project == project) totals.add(session->totals);
    EXPECT_GT(totals.inputTokens, 2'100'000) << project;
    return static_cast<double>(totals.cachedInputTokens) / static_cast<double>(totals.inputTokens);
}

bool isSubagent(const SessionResult& session) {
    return session.source.isSubagent && !session.source.isGuardian;
}

void expectSubagents(const SessionList& sessions, Instant since) {
    const auto tokens = [&](const SessionResult& session) {
        std::int64_t total = 0;
        for (const RequestRecord& request : session.requests.records())
            if (request.time >= since) total += request.d.totalTokens;
        return total;
    };
    const auto agents = [&](const SessionResult& session) {
        return isSubagent(session) ? tokens(session) : 0;
    };
    EXPECT_GT(static_cast<double>(sum(sessions, agents)) / static_cast<double>(sum(sessions, tokens)), 0.32);
    const auto isHeavy = [](const SessionPointer& session) {
        const UsageTotals& totals = session->totals;
        return isSubagent(*session) && totals.inputTokens >= 200'000 &&
               static_cast<double>(totals.outputTokens) / static_cast<double>(totals.inputTokens) < 0.005;
    };
    EXPECT_GE(std::count_if(sessions.begin(), sessions.end(), isHeavy), 1);
}

void expectAdviceOfEverySort(const SessionList& sessions, Instant since) {
    expectCacheBreaks(sessions);
    EXPECT_EQ(heavyStarts(sessions, ToolKind::claudeCode, 60'000), std::set<std::string>{"atlas-mobile"});
    EXPECT_EQ(heavyStarts(sessions, ToolKind::codex, 30'000), std::set<std::string>{"storefront"});
    EXPECT_GT(shareOf(sessions, "mcp:browser"), 0.26);
    for (const char* other : {"mcp:postgres", "mcp:issues", "tool:Read", "tool:apply_patch", "Shell · Tests"})
        EXPECT_LT(shareOf(sessions, other), 0.2) << other;
    EXPECT_GE(std::count_if(sessions.begin(), sessions.end(),
                            [](const auto& session) { return session->insights.peakInput >= 150'000; }),
              2);
    EXPECT_LT(cacheRate(sessions, "legacy-import"), 0.65);
    EXPECT_GT(cacheRate(sessions, "atlas-mobile"), 0.85);
    expectSubagents(sessions, since);
}

void expectAdviceOfEverySort(const MadeUpHome& home) {
    expectAdviceOfEverySort(home.snapshot.sessions, 0);
    const Instant cycleStart = *home.snapshot.aggregates.cycleAnchor - 604800;
    expectAdviceOfEverySort(
        home.sessionsWith([&](const SessionResult& session) { return *session.lastTs >= cycleStart; }),
        cycleStart);
}

TEST(DemoInsights, areOfEverySortInTheUsualHomeWhichIsReadWithoutARemark) {
    const MadeUpHome home;
    EXPECT_EQ(home.outcome.status, 0);
    EXPECT_EQ(home.snapshot.sessions.size(), 120u);
    EXPECT_EQ(home.snapshot.malformedLines, 0);
    EXPECT_TRUE(home.snapshot.formatWarnings.empty());
    std::uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
        if (entry.is_regular_file()) bytes += entry.file_size();
    EXPECT_GT(bytes, 10'000'000u);
    EXPECT_LT(bytes, 25'000'000u);
    expectAdviceOfEverySort(home);
}

TEST(DemoInsights, areOfEverySortInAHomeOfAnotherSeedToo) {
    expectAdviceOfEverySort(MadeUpHome({"--seed", "2"}));
}

}  // namespace
}  // namespace ledgerfern
