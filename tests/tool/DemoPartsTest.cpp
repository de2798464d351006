#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "DemoActions.h"
#include "DemoConversation.h"
#include "DemoRandom.h"
#include "DemoTime.h"
#include "JsonText.h"

namespace ledgerfern {
namespace {

using testing::MatchesRegex;

TEST(DemoRandom, isTheSequenceOfSplitmix64) {
    DemoRandom random(0);
    EXPECT_EQ(random.next(), 0xe220a8397b1dcdafu);
    EXPECT_EQ(random.next(), 0x6e789e6aa1b965f4u);
    EXPECT_EQ(random.next(), 0x06c45d188009454fu);
}

TEST(DemoRandom, givesAllNumbersWithinItsBoundsAndNoOthers) {
    DemoRandom random(7);
    std::set<std::int64_t> seen;
    for (int i = 0; i < 200; ++i)
        seen.insert(random.between(-2, 2));
    EXPECT_EQ(seen, (std::set<std::int64_t>{-2, -1, 0, 1, 2}));
    EXPECT_EQ(random.between(5, 5), 5);
    EXPECT_EQ(random.between(5, 4), 5);
}

TEST(DemoRandom, streamsDiffer) {
    std::set<std::uint64_t> firsts;
    for (const std::uint64_t seed : {0u, 1u, 2u})
        for (const std::uint64_t stream : {0u, 1u, 2u})
            firsts.insert(DemoRandom(seed, stream).next());
    EXPECT_EQ(firsts.size(), 9u);
}

TEST(DemoRandom, makesIds) {
    DemoRandom random(1);
    EXPECT_THAT(random.uuid(),
                MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-a[0-9a-f]{3}-[0-9a-f]{12}"));
    EXPECT_THAT(random.uuidOf(0x0123456789ab),
                MatchesRegex("01234567-89ab-7[0-9a-f]{3}-a[0-9a-f]{3}-[0-9a-f]{12}"));
    EXPECT_EQ(random.word(9).size(), 9u);
}

TEST(DemoTime, writesInstantsInUtc) {
    constexpr DemoTime::Milliseconds instant = 1'772'360'430'007;
    EXPECT_EQ(DemoTime::stamp(instant), "2026-03-01T10:20:30.007Z");
    EXPECT_EQ(DemoTime::fileStamp(instant), "2026-03-01T10-20-30");
    EXPECT_EQ(DemoTime::dayFolder(instant), "2026/03/01");
    EXPECT_EQ(DemoTime::weekdayOf(instant), 6);
    EXPECT_EQ(DemoTime::stamp(0), "1970-01-01T00:00:00.000Z");
}

TEST(JsonText, keepsMembersInTheirOrder) {
    const JsonText inner = JsonText::array({true, nullptr, JsonText::decimal(1234)});
    EXPECT_EQ(JsonText::object({{"b", 1}, {"a", "x\"\n"}, {"c", inner}}).text(),
              R"({"b":1,"a":"x\"\n","c":[true,null,123.4]})");
    EXPECT_EQ(JsonText::object({}).text(), "{}");
    EXPECT_EQ(JsonText::array({}).text(), "[]");
}

TEST(DemoActions, fillInAllThatStandsInBraces) {
    DemoRandom random(3);
    EXPECT_THAT(filledIn("{w} {n} {w}", random), MatchesRegex("[a-z]+ [0-9]+ [a-z]+"));
    EXPECT_THAT(filledInLines(codeLines(), 3, random), MatchesRegex("[^\n]+\n[^\n]+\n[^\n]+"));
    EXPECT_EQ(filledInLines(codeLines(), 0, random), "");
}

TEST(DemoConversation, goesOnFromPromptToPromptAndIsCutDownWhereItIsFull) {
    DemoRandom random(5);
    DemoPace pace;
    pace.requests = 400;
    pace.growth = 2'000;
    const auto requests = converse(pace, random);
    ASSERT_EQ(requests.size(), 400u);
    EXPECT_TRUE(requests.front().opensTurn);
    EXPECT_TRUE(requests.back().closesTurn);
    int compactions = 0;
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_GT(requests[i].at, requests[i - 1].at);
        EXPECT_EQ(requests[i].opensTurn, requests[i - 1].closesTurn);
        EXPECT_EQ(requests[i].compacted, requests[i].input < requests[i - 1].input);
        EXPECT_LE(requests[i].cached, requests[i].input);
        EXPECT_LE(requests[i].input, pace.compactedAt);
        compactions += requests[i].compacted ? 1 : 0;
    }
    EXPECT_GE(compactions, 3);
}

TEST(DemoConversation, runsThroughWithoutAUser) {
    DemoRandom random(5);
    DemoPace pace;
    pace.hasUser = false;
    const auto requests = converse(pace, random);
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_FALSE(requests[i].opensTurn);
        EXPECT_LT(requests[i].at - requests[i - 1].at, DemoTime::minute);
    }
}

}  // namespace
}  // namespace ledgerfern
