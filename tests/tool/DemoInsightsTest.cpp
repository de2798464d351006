#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Analytics/CostEstimator.h"
#include "Analytics/DashboardAnalytics.h"
#include "tool/MadeUpHome.h"

// What the demo holds is to give advice of every sort, over all time and in the current cycle.

namespace ledgerfern {
namespace {

std::vector<std::string> sortsOf(const DashboardDerived& derived) {
    std::vector<std::string> sorts;
    for (const Insight& insight : derived.insights)
        sorts.push_back(insight.id);
    return sorts;
}

DashboardDerived derived(const MadeUpHome& home, const std::optional<std::string>& cycleKey) {
    DashboardAnalytics::Selection selection;
    selection.allTime = !cycleKey;
    selection.cycleKey = cycleKey;
    return DashboardAnalytics::derive(&home.snapshot, selection, home.snapshot.sessionIDs,
                                      home.snapshot.threadNames, PriceTable(CostEstimator::defaults()),
                                      demoNow);
}

void expectAdviceOfEverySort(const MadeUpHome& home) {
    const auto currentCycle = home.snapshot.aggregates.currentCycleKey();
    ASSERT_TRUE(currentCycle);
    for (const auto& cycleKey : {std::optional<std::string>(), currentCycle})
        EXPECT_THAT(sortsOf(derived(home, cycleKey)),
                    testing::UnorderedElementsAre("cache-breaks", "startup-overhead", "consumer-mcp:browser",
                                                  "long-contexts", "low-cache-legacy-import", "subagents"))
            << cycleKey.value_or("all time");
    std::map<std::string, std::int64_t> reasons;
    for (const SessionPointer& session : home.snapshot.sessions)
        for (const auto& [reason, count] : session->insights.breakReasons)
            reasons[reason] += count;
    for (const char* reason : {"idle", "model switch", "context changed", "compaction"})
        EXPECT_GE(reasons[reason], 2) << reason;
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
