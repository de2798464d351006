#include "Analytics/PriceTable.h"

#include <gtest/gtest.h>

#include "Analytics/CostEstimator.h"

namespace ledgerfern {
namespace {

std::optional<ModelPrice> builtIn(std::optional<std::string_view> model) {
    return PriceTable(CostEstimator::defaults()).priceFor(model);
}

ModelPrice rowOf(const std::string& key) {
    return CostEstimator::defaults().at(key);
}

TEST(PriceTable, knowsNoPriceOfAnAbsentEmptyOrUnknownModel) {
    EXPECT_EQ(builtIn(std::nullopt), std::nullopt);
    EXPECT_EQ(builtIn(""), std::nullopt);
    EXPECT_EQ(builtIn("gemini-pro"), std::nullopt);
    EXPECT_EQ(PriceTable().priceFor("gpt-5"), std::nullopt);
}

TEST(PriceTable, takesTheLongestKeyInTheName) {
    EXPECT_EQ(builtIn("GPT-5-MINI"), (ModelPrice{0.25, 0.025, 2.0}));
    EXPECT_EQ(builtIn("gpt-5"), rowOf("gpt-5"));
    EXPECT_EQ(builtIn("gpt-5-codex"), rowOf("gpt-5"));
    EXPECT_EQ(builtIn("gpt-5.6-sol-preview"), rowOf("gpt-5.6-sol"));
    EXPECT_EQ(builtIn("gpt-3.5"), rowOf("gpt"));
    EXPECT_EQ(builtIn("claude-opus-4-5-20251101"), rowOf("claude-opus-4-5"));
    EXPECT_EQ(builtIn("claude-opus-4-20250514"), rowOf("claude-opus-4"));
    EXPECT_EQ(builtIn("claude-3-haiku"), rowOf("claude"));
}

TEST(PriceTable, matchesAnywhereInTheName) {
    EXPECT_EQ(builtIn("solo3"), rowOf("o3"));
    EXPECT_EQ(builtIn("openai/o4-mini-high"), rowOf("o4-mini"));
}

TEST(PriceTable, comparesWithoutUpperAndLowerCase) {
    const PriceTable table(PriceMap{{"GPT-Ünï", {1, 2, 3}}});
    EXPECT_EQ(table.priceFor("my-gpt-üNÏ-2"), (ModelPrice{1, 2, 3}));
}

TEST(PriceTable, countsCharactersNotBytes) {
    const PriceTable table(PriceMap{{"éé", {1, 1, 1}}, {"abc", {2, 2, 2}}});
    EXPECT_EQ(table.priceFor("éé-abc"), (ModelPrice{2, 2, 2}));
}

TEST(PriceTable, takesTheFirstInOrderOfBytesAmongEquallyLongKeys) {
    const PriceTable table(PriceMap{{"bb", {1, 1, 1}}, {"aa", {2, 2, 2}}, {"AA", {3, 3, 3}}});
    EXPECT_EQ(table.priceFor("aa-bb"), (ModelPrice{3, 3, 3}));
}

}  // namespace
}  // namespace ledgerfern
