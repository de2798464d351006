#include "Analytics/CostEstimator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>

#include "Foundation/Arithmetic.h"
#include "Foundation/JsonReader.h"
#include "Foundation/Numbers.h"

namespace ledgerfern::CostEstimator {

namespace {

using nlohmann::ordered_json;

constexpr const char* pricesKey = "costEstimator.prices";
constexpr const char* defaultKeysKey = "costEstimator.defaultKeys";

/// The built-in keys of the time before they were saved beside the prices.
constexpr std::array<const char*, 14> firstDefaultKeys = {
    "gpt-5",   "gpt-5-mini", "gpt-4.1",       "gpt-4.1-mini",    "gpt-4o",         "gpt-4o-mini", "o3",
    "o4-mini", "codex-mini", "claude-opus-4", "claude-sonnet-4", "claude-haiku-4", "claude",      "gpt"};

/// A Boolean is no number here.
std::optional<double> number(const OptionalJson& value) {
    return value && value->is_number() ? asDouble(value) : std::nullopt;
}

std::optional<ModelPrice> readPrice(const JsonValue& value) {
    const auto row = asObject(value);
    if (!row) return std::nullopt;
    const auto [inputValue, cachedInputValue, outputValue] = members(*row, "input", "cachedInput", "output");
    const auto input = number(inputValue);
    const auto cachedInput = number(cachedInputValue);
    const auto output = number(outputValue);
    if (!input || !cachedInput || !output) return std::nullopt;
    return ModelPrice{*input, *cachedInput, *output};
}

std::optional<PriceMap> decode(const std::string& bytes) {
    JsonReader reader;
    const auto table = asObject(reader.read(bytes));
    if (!table) return std::nullopt;
    std::map<std::string_view, JsonValue> last;
    for (const auto field : *table)
        last.insert_or_assign(field.key, field.value);
    PriceMap rows;
    for (const auto& [key, row] : last) {
        const auto price = readPrice(row);
        if (!price) return std::nullopt;
        rows.emplace(key, *price);
    }
    return rows;
}

bool isFinite(const ModelPrice& price) {
    return std::isfinite(price.input) && std::isfinite(price.cachedInput) && std::isfinite(price.output);
}

std::optional<std::string> encode(const PriceMap& rows) {
    ordered_json table = ordered_json::object();
    for (const auto& [key, price] : rows) {
        if (!isFinite(price)) return std::nullopt;
        table[key] = {{"input", price.input}, {"cachedInput", price.cachedInput}, {"output", price.output}};
    }
    try {
        return table.dump();
    } catch (const ordered_json::exception&) {
        return std::nullopt;  // a key that isn't UTF-8
    }
}

std::set<std::string> knownKeys(const PreferencesStore& preferences) {
    if (const auto saved = preferences.strings(defaultKeysKey)) return {saved->begin(), saved->end()};
    return {firstDefaultKeys.begin(), firstDefaultKeys.end()};
}

std::vector<std::string> defaultKeys() {
    std::vector<std::string> keys;
    for (const auto& [key, price] : defaults())
        keys.push_back(key);
    return keys;
}

}  // namespace

PriceMap prices(const PreferencesStore& preferences) {
    const auto bytes = preferences.bytes(pricesKey);
    auto rows = bytes ? decode(*bytes) : std::nullopt;
    if (!rows) return defaults();
    const auto known = knownKeys(preferences);
    for (const auto& row : defaults())
        if (!known.contains(row.first)) rows->insert(row);
    return *std::move(rows);
}

bool setPrices(PreferencesStore& preferences, const PriceMap& prices) {
    const auto bytes = encode(prices);
    return bytes && preferences.setBytes(pricesKey, *bytes) &&
           preferences.setStrings(defaultKeysKey, defaultKeys());
}

double cost(std::int64_t input, std::int64_t cachedInput, std::int64_t output,
            const std::optional<ModelPrice>& price) {
    if (!price) return 0;
    const std::int64_t uncached =
        std::max<std::int64_t>(differenceWithin64Bits(input, cachedInput).value_or(input), 0);
    const double millionths = static_cast<double>(uncached) * price->input +
                              static_cast<double>(cachedInput) * price->cachedInput +
                              static_cast<double>(output) * price->output;
    return std::isfinite(millionths) ? millionths / 1'000'000 : 0;
}

double cost(const UsageTotals& tokens, const std::optional<ModelPrice>& price) {
    std::int64_t output = tokens.outputTokens;
    addFromOutside(output, tokens.reasoningOutputTokens);
    return cost(tokens.inputTokens, tokens.cachedInputTokens, output, price);
}

double cost(const PriceTable& prices, std::int64_t input, std::int64_t cachedInput, std::int64_t output,
            std::optional<std::string_view> model) {
    return cost(input, cachedInput, output, prices.priceFor(model));
}

double cost(const PriceTable& prices, const SessionResult& session) {
    return cost(prices, session.totals, session.model);
}

double cost(const PriceTable& prices, const UsageTotals& request, std::optional<std::string_view> model) {
    return cost(request, prices.priceFor(model));
}

std::string fmtUSD(double amount) {
    if (!std::isfinite(amount)) return "—";
    const double size = std::fabs(amount);
    if (amount == 0) return "$0";
    if (size < 0.01) return "$" + fixedText(amount, 4);
    if (size < 0.995) return fixedText(amount * 100, 0) + "¢";
    if (size < 1000) return "$" + fixedText(amount, 2);
    return "$" + fixedText(amount / 1000, 1) + "k";
}

}  // namespace ledgerfern::CostEstimator
