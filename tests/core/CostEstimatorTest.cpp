#include "Analytics/CostEstimator.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "FakePreferences.h"
#include "SessionSamples.h"

namespace ledgerfern {
namespace {

using CostEstimator::cost;
using CostEstimator::defaults;
using CostEstimator::fmtUSD;

constexpr auto most = std::numeric_limits<std::int64_t>::max();
constexpr auto least = std::numeric_limits<std::int64_t>::min();

const std::string pricesKey = "costEstimator.prices";
const std::string defaultKeysKey = "costEstimator.defaultKeys";

PriceTable builtIn() {
    return PriceTable(defaults());
}

FakePreferences storing(const std::string& prices) {
    FakePreferences preferences;
    preferences.bytesByKey[pricesKey] = prices;
    return preferences;
}

TEST(CostEstimator, hasThirtyEightRowsBuiltIn) {
    EXPECT_EQ(defaults().size(), 38u);
    EXPECT_EQ(defaults().at("gpt-6.1-sol"), (ModelPrice{2.0, 0.1, 10.0}));
    EXPECT_EQ(defaults().at("gpt-5.6-luna"), (ModelPrice{0.2, 0.02, 1.2}));
    EXPECT_EQ(defaults().at("claude-opus-4"), (ModelPrice{15.0, 1.5, 75.0}));
    EXPECT_EQ(defaults().at("claude"), (ModelPrice{2.0, 0.2, 10.0}));
    EXPECT_EQ(defaults().at("gpt"), (ModelPrice{2.5, 1.25, 10.0}));
    double sum = 0;
    for (const auto& [key, price] : defaults())
        sum += price.input + price.cachedInput + price.output;
    EXPECT_NEAR(sum, 816.71, 1e-9);
    // By place and column, so that no two numbers can change places unseen.
    double weighted = 0;
    double place = 0;
    for (const auto& [key, price] : defaults())
        weighted += ++place * (price.input + 10 * price.cachedInput + 100 * price.output);
    EXPECT_NEAR(weighted, 1'083'310.45, 1e-6);
}

// The table in force ----------------------------------------------------

TEST(CostEstimator, usesTheBuiltInTableWhereNothingIsStored) {
    EXPECT_EQ(CostEstimator::prices(FakePreferences()), defaults());
}

TEST(CostEstimator, addsBuiltInRowsThatTheSavedListDoesNotKnow) {
    FakePreferences preferences = storing(R"({"mine": {"input": 1, "cachedInput": 2, "output": 3.5}})");
    std::vector<std::string> known;
    for (const auto& [key, price] : defaults())
        if (key != "gpt-6") known.push_back(key);
    preferences.stringsByKey[defaultKeysKey] = known;
    const PriceMap expected = {{"gpt-6", {2.0, 0.2, 10.0}}, {"mine", {1, 2, 3.5}}};
    EXPECT_EQ(CostEstimator::prices(preferences), expected);
    known.emplace_back("gpt-6");
    preferences.stringsByKey[defaultKeysKey] = known;
    const PriceMap deleted = {{"mine", {1, 2, 3.5}}};
    EXPECT_EQ(CostEstimator::prices(preferences), deleted);
}

TEST(CostEstimator, keepsARowThatTheUserChanged) {
    FakePreferences preferences = storing(R"({"gpt-6": {"input": 7, "cachedInput": 7, "output": 7}})");
    preferences.stringsByKey[defaultKeysKey] = {};
    const PriceMap prices = CostEstimator::prices(preferences);
    EXPECT_EQ(prices.size(), 38u);
    EXPECT_EQ(prices.at("gpt-6"), (ModelPrice{7, 7, 7}));
}

TEST(CostEstimator, knowsFourteenKeysWhereNoListIsSaved) {
    const PriceMap prices = CostEstimator::prices(storing("{}"));
    EXPECT_EQ(prices.size(), 24u);
    for (const char* deleted :
         {"gpt-5", "gpt-5-mini", "gpt-4.1", "gpt-4.1-mini", "gpt-4o", "gpt-4o-mini", "o3", "o4-mini",
          "codex-mini", "claude-opus-4", "claude-sonnet-4", "claude-haiku-4", "claude", "gpt"}) {
        EXPECT_FALSE(prices.contains(deleted)) << deleted;
        EXPECT_TRUE(defaults().contains(deleted)) << deleted;
    }
}

TEST(CostEstimator, usesTheBuiltInTableWhereTheStoredOneDoesNotRead) {
    for (const char* broken :
         {"", "x", "[]", "null", R"({"a": 1})", R"({"a": {"input": 1, "cachedInput": 2}})",
          R"({"a": {"input": 1, "cachedInput": 2, "output": "3"}})",
          R"({"a": {"input": 1, "cachedInput": 2, "output": true}})",
          R"({"a": {"input": 1, "cachedInput": 2, "output": null}})",
          R"({"a": {"input": 1e400, "cachedInput": 2, "output": 3}})",
          R"({"b": {"input": 1, "cachedInput": 2, "output": 3}, "a": {}})",
          R"({"a": {"input": 1, "cachedInput": 2, "output": 3}} x)"}) {
        FakePreferences preferences = storing(broken);
        EXPECT_EQ(CostEstimator::prices(preferences), defaults()) << broken;
        EXPECT_EQ(preferences.bytesByKey[pricesKey], broken);
    }
}

TEST(CostEstimator, readsTheStoredTableAsJsonIsReadEverywhere) {
    const std::string row = R"({"input":1,"cachedInput":2,"output":3.5})";
    const auto stored = [&](const std::string& text) { return CostEstimator::prices(storing(text)); };
    EXPECT_EQ(stored("\xEF\xBB\xBF{\"mine\":" + row + "}"), defaults()) << "a byte-order mark";
    EXPECT_TRUE(stored("{\"cut \\ud83d\":" + row + "}").contains("cut \uFFFD"));
    EXPECT_EQ(stored("{\"mine\":{\"input\":true,\"cachedInput\":2,\"output\":3}}"), defaults());
    EXPECT_EQ(stored("{\"mine\":{\"input\":1e999,\"cachedInput\":2,\"output\":3}}"), defaults());
    EXPECT_TRUE(stored("{\"mine\":5,\"mine\":" + row + "}").contains("mine")) << "the last row counts";
    EXPECT_EQ(stored("{\"mine\":" + row + ",\"mine\":5}"), defaults());
}

TEST(CostEstimator, ignoresFieldsOfARowThatItDoesNotKnow) {
    FakePreferences preferences =
        storing(R"({"a": {"input": 1, "cachedInput": 2, "output": 3, "cacheWrite": "?"}})");
    EXPECT_EQ(CostEstimator::prices(preferences).at("a"), (ModelPrice{1, 2, 3}));
}

TEST(CostEstimator, savesATableAndTheBuiltInKeysBesideIt) {
    FakePreferences preferences;
    const PriceMap mine = {{"a \"b\" ü", {1.5, 0, 1e-9}}, {"gpt-5", {0.1, 0.25, 3}}};
    EXPECT_TRUE(CostEstimator::setPrices(preferences, mine));
    EXPECT_EQ(CostEstimator::prices(preferences), mine);
    EXPECT_EQ(preferences.stringsByKey[defaultKeysKey].size(), 38u);
    EXPECT_TRUE(CostEstimator::setPrices(preferences, {}));
    EXPECT_EQ(CostEstimator::prices(preferences), PriceMap());
    EXPECT_TRUE(CostEstimator::setPrices(preferences, defaults()));
    EXPECT_EQ(CostEstimator::prices(preferences), defaults());
}

TEST(CostEstimator, writesARowsNumbersInTheirOrder) {
    FakePreferences preferences;
    EXPECT_TRUE(CostEstimator::setPrices(preferences, {{"a", {1.5, 0.25, 3}}}));
    EXPECT_EQ(preferences.bytesByKey[pricesKey], R"({"a":{"input":1.5,"cachedInput":0.25,"output":3.0}})");
}

TEST(CostEstimator, savesNothingThatCannotBeEncoded) {
    FakePreferences preferences;
    EXPECT_FALSE(
        CostEstimator::setPrices(preferences, {{"a", {std::numeric_limits<double>::infinity(), 0, 0}}}));
    EXPECT_FALSE(
        CostEstimator::setPrices(preferences, {{"a", {0, 0, std::numeric_limits<double>::quiet_NaN()}}}));
    EXPECT_FALSE(CostEstimator::setPrices(preferences, {{"\xff", {1, 1, 1}}}));
    EXPECT_TRUE(preferences.bytesByKey.empty());
    EXPECT_TRUE(preferences.stringsByKey.empty());
    preferences.canBeWritten = false;
    EXPECT_FALSE(CostEstimator::setPrices(preferences, defaults()));
}

// Costs -----------------------------------------------------------------

TEST(CostEstimator, pricesCachedAndUncachedInputApart) {
    EXPECT_NEAR(cost(builtIn(), 1'000'000, 400'000, 10'000, "gpt-5"), 0.90, 1e-12);
}

TEST(CostEstimator, countsNoUncachedInputWhereMoreIsCached) {
    const ModelPrice price = {1'000'000, 1000, 1};
    EXPECT_EQ(cost(100, 150, 0, price), 0.15);
}

TEST(CostEstimator, costsNothingWithoutAPrice) {
    EXPECT_EQ(cost(builtIn(), 1'000'000, 0, 1'000'000, "gemini-pro"), 0);
    EXPECT_EQ(cost(builtIn(), 1'000'000, 0, 1'000'000, std::nullopt), 0);
}

TEST(CostEstimator, costsASessionByItsModelAndTotals) {
    SessionResult session;
    session.totals = {1'000'000, 400'000, 777, 4'000, 6'000, 999};
    EXPECT_EQ(cost(builtIn(), session), 0);
    session.model = "gpt-5";
    EXPECT_NEAR(cost(builtIn(), session), 0.90, 1e-12);
}

TEST(CostEstimator, costsARequestByTheModelThatIsGiven) {
    const UsageTotals request = {1'000'000, 400'000, 777, 4'000, 6'000, 999};
    EXPECT_NEAR(cost(builtIn(), request, "gpt-5"), 0.90, 1e-12);
    EXPECT_EQ(cost(builtIn(), UsageTotals(), "gpt-5"), 0);
    EXPECT_EQ(cost(request, ModelPrice{1, 1, 1}), 1.01);
}

TEST(CostEstimator, leavesOutWhatWouldLeave64BitsOrADouble) {
    const ModelPrice price = {1, 0, 1};
    EXPECT_EQ(cost(most, -1, 0, price), static_cast<double>(most) / 1e6);
    EXPECT_EQ(cost(least, 1, 0, price), 0);
    EXPECT_EQ(cost(UsageTotals{0, 0, 0, 5'000'000, most, 0}, price), 5);
    EXPECT_EQ(cost(10, 0, 0, ModelPrice{1e308, 0, 0}), 0);
    EXPECT_EQ(cost(0, 0, 10, ModelPrice{0, 0, -1e308}), 0);
}

TEST(CostEstimator, writesAmountsByTheirSize) {
    EXPECT_EQ(fmtUSD(0), "$0");
    EXPECT_EQ(fmtUSD(-0.0), "$0");
    EXPECT_EQ(fmtUSD(0.004), "$0.0040");
    EXPECT_EQ(fmtUSD(0.00001), "$0.0000");
    EXPECT_EQ(fmtUSD(0.0099), "$0.0099");
    EXPECT_EQ(fmtUSD(0.01), "1¢");
    EXPECT_EQ(fmtUSD(0.5), "50¢");
    EXPECT_EQ(fmtUSD(0.125), "12¢");
    EXPECT_EQ(fmtUSD(0.9949), "99¢");
    EXPECT_EQ(fmtUSD(0.995), "$0.99");
    EXPECT_EQ(fmtUSD(1), "$1.00");
    EXPECT_EQ(fmtUSD(12.5), "$12.50");
    EXPECT_EQ(fmtUSD(999.999), "$1000.00");
    EXPECT_EQ(fmtUSD(1000), "$1.0k");
    EXPECT_EQ(fmtUSD(1500), "$1.5k");
    EXPECT_EQ(fmtUSD(1234567), "$1234.6k");
}

TEST(CostEstimator, keepsTheSignOfAnAmount) {
    EXPECT_EQ(fmtUSD(-0.004), "$-0.0040");
    EXPECT_EQ(fmtUSD(-0.5), "-50¢");
    EXPECT_EQ(fmtUSD(-12.5), "$-12.50");
    EXPECT_EQ(fmtUSD(-1500), "$-1.5k");
}

TEST(CostEstimator, writesADashForWhatIsNoAmount) {
    EXPECT_EQ(fmtUSD(std::numeric_limits<double>::infinity()), "—");
    EXPECT_EQ(fmtUSD(std::numeric_limits<double>::quiet_NaN()), "—");
}

}  // namespace
}  // namespace ledgerfern
