#include "Analytics/SessionCounts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ledgerfern {
namespace {

TEST(SessionCounts, ofNoSessionsKnowNone) {
    const SessionCounts none;
    EXPECT_EQ(none.find("/a"), std::nullopt);
    EXPECT_EQ(none.find(""), std::nullopt);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none, SessionCounts{});
}

TEST(SessionCounts, areFoundByTheirPaths) {
    const SessionCounts counts = {{"/a", 1}, {"/b", 0}, {"", -3}};
    EXPECT_EQ(counts.find("/a"), 1);
    EXPECT_EQ(counts.find("/b"), 0);
    EXPECT_EQ(counts.find(""), -3);
    EXPECT_EQ(counts.find("/c"), std::nullopt);
    EXPECT_EQ(counts.find("/a/"), std::nullopt);
    EXPECT_EQ(counts.size(), 3u);
}

TEST(SessionCounts, takeTheLatestCountOfAPath) {
    SessionCounts counts = {{"/a", 1}, {"/b", 2}};
    counts.set("/a", 5);
    EXPECT_EQ(counts, (SessionCounts{{"/b", 2}, {"/a", 5}}));
    EXPECT_EQ(counts.size(), 2u);
}

TEST(SessionCounts, compareWithoutRegardToTheirOrder) {
    EXPECT_EQ((SessionCounts{{"/a", 1}, {"/b", 2}}), (SessionCounts{{"/b", 2}, {"/a", 1}}));
    EXPECT_NE((SessionCounts{{"/a", 1}}), (SessionCounts{{"/a", 2}}));
    EXPECT_NE((SessionCounts{{"/a", 1}}), (SessionCounts{{"/b", 1}}));
    EXPECT_NE((SessionCounts{{"/a", 1}}), (SessionCounts{{"/a", 1}, {"/b", 1}}));
    EXPECT_NE((SessionCounts{{"/a", 0}}), SessionCounts{});
}

TEST(SessionCounts, holdAnyNumberOfPathsInTheirOrder) {
    std::vector<std::string> paths;
    for (int i = 0; i < 5000; ++i)
        paths.push_back("/logs/" + std::to_string(i * 7919 % 5000));
    for (const std::size_t reserved : {0U, 1U, 5000U}) {
        SessionCounts counts;
        counts.reserve(reserved);
        for (std::size_t i = 0; i < paths.size(); ++i)
            counts.set(paths[i], static_cast<std::int64_t>(i));
        ASSERT_EQ(counts.size(), paths.size());
        std::size_t place = 0;
        for (const auto& [path, count] : counts) {
            ASSERT_EQ(path, paths[place]);
            ASSERT_EQ(counts.find(path), static_cast<std::int64_t>(place++));
        }
        EXPECT_EQ(counts.find("/logs/5000"), std::nullopt);
    }
}

TEST(SessionCounts, keepWhatTheyHoldWhenMoreRoomIsMade) {
    SessionCounts counts = {{"/a", 1}};
    counts.reserve(1000);
    counts.reserve(1);
    EXPECT_EQ(counts.find("/a"), 1);
}

}  // namespace
}  // namespace ledgerfern
