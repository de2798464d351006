#include "UsageRecords/UsageTotals.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledgerfern {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
using Map = std::map<std::string, std::int64_t>;

const UsageTotals oneToSix = {1, 2, 3, 4, 5, 6};

TEST(UsageTotals, theKeysStandInTheOrderOfTheFields) {
    EXPECT_EQ(UsageTotals::fields, (std::array<std::string_view, 6>{
                                       "input_tokens", "cached_input_tokens", "cache_write_input_tokens",
                                       "output_tokens", "reasoning_output_tokens", "total_tokens"}));
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(oneToSix.at(i), static_cast<std::int64_t>(i) + 1);
        EXPECT_EQ(oneToSix[UsageTotals::fields[i]], static_cast<std::int64_t>(i) + 1);
    }
}

TEST(UsageTotals, aFreshOneIsZero) {
    const Map zeros = {{"input_tokens", 0},  {"cached_input_tokens", 0},     {"cache_write_input_tokens", 0},
                       {"output_tokens", 0}, {"reasoning_output_tokens", 0}, {"total_tokens", 0}};
    EXPECT_EQ(UsageTotals{}.v(), zeros);
}

TEST(UsageTotals, anUnknownKeyReadsAsZeroAndIsNotWritten) {
    UsageTotals totals = oneToSix;
    for (const char* key : {"", "input", "Input_Tokens", "total_tokens "}) {
        EXPECT_EQ(totals.get(key), 0) << key;
        totals[key] = 99;
        totals.set(key, 99);
        EXPECT_EQ(totals, oneToSix) << key;
    }
}

TEST(UsageTotals, aKnownKeyIsWritten) {
    UsageTotals totals;
    totals["output_tokens"] = 7;
    totals.set("total_tokens", 8);
    EXPECT_EQ(totals, (UsageTotals{0, 0, 0, 7, 0, 8}));
    EXPECT_EQ(totals["output_tokens"], 7);
}

TEST(UsageTotals, totalsAddUpFieldByField) {
    UsageTotals totals = oneToSix;
    totals.add(oneToSix);
    EXPECT_EQ(totals, (UsageTotals{2, 4, 6, 8, 10, 12}));
    totals.add(10, 20, 30, 40, 50, 60);
    EXPECT_EQ(totals, (UsageTotals{12, 24, 36, 48, 60, 72}));
    EXPECT_EQ(oneToSix + oneToSix, (UsageTotals{2, 4, 6, 8, 10, 12}));
    totals.add(totals);
    EXPECT_EQ(totals, (UsageTotals{24, 48, 72, 96, 120, 144}));
}

TEST(UsageTotals, aMapIsAddedByItsKnownKeys) {
    UsageTotals totals = oneToSix;
    totals.add(Map{});
    EXPECT_EQ(totals, oneToSix);
    totals.add(Map{{"output_tokens", 10}, {"other", 1000}});
    EXPECT_EQ(totals, (UsageTotals{1, 2, 3, 14, 5, 6}));
}

TEST(UsageTotals, writingTheMapClearsWhatItLacks) {
    UsageTotals totals = oneToSix;
    totals.setV({{"cached_input_tokens", 9}, {"other", 1}});
    EXPECT_EQ(totals, (UsageTotals{0, 9, 0, 0, 0, 0}));
    totals.setV(oneToSix.v());
    EXPECT_EQ(totals, oneToSix);
}

TEST(UsageTotals, aSumThatWouldLeave64BitsIsNotMade) {
    UsageTotals totals = {most, -most - 1, 0, 0, 0, 0};
    totals.add(1, -1, 1, 1, 1, 1);
    EXPECT_EQ(totals, (UsageTotals{most, -most - 1, 1, 1, 1, 1})) << "the other counters are summed";
    totals.add(Map{{"input_tokens", most}, {"total_tokens", 1}});
    EXPECT_EQ(totals, (UsageTotals{most, -most - 1, 1, 1, 1, 2}));
}

TEST(UsageTotals, equalityIsThatOfAllCounters) {
    for (const std::string_view key : UsageTotals::fields) {
        UsageTotals other = oneToSix;
        other[key] = -1;
        EXPECT_NE(other, oneToSix) << key;
    }
}

}  // namespace
}  // namespace ledgerfern
