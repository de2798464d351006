#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/PriceTable.h"
#include "Foundation/PreferencesStore.h"
#include "UsageRecords/SessionResult.h"

/// What the tokens would have cost at API list prices. A comparison, not a bill: a subscription includes
/// usage at no marginal cost.
///
/// Any thread may call every function. Whoever looks prices up often keeps a `PriceTable` made from `prices`
/// until they change.
namespace ledgerfern::CostEstimator {

/// The built-in table.
const PriceMap& defaults();

/// The table in force: what the user saved, and those built-in rows that were added since; the built-in table
/// where nothing readable is saved. A row without one of its three numbers makes the whole unreadable.
PriceMap prices(const PreferencesStore& preferences);

/// Saves the user's table. False where a number isn't finite or a key isn't UTF-8, and then nothing is
/// stored, or where the store can't be written.
bool setPrices(PreferencesStore& preferences, const PriceMap& prices);

/// USD; `input` is the whole prompt, cached tokens included. 0 without a price, or where the result is beyond
/// a double's range.
double cost(std::int64_t input, std::int64_t cachedInput, std::int64_t output,
            const std::optional<ModelPrice>& price);
double cost(const UsageTotals& tokens, const std::optional<ModelPrice>& price);
double cost(const PriceTable& prices, std::int64_t input, std::int64_t cachedInput, std::int64_t output,
            std::optional<std::string_view> model);
/// By the session's model and totals.
double cost(const PriceTable& prices, const SessionResult& session);
/// Of one request's counts.
double cost(const PriceTable& prices, const UsageTotals& request, std::optional<std::string_view> model);

/// "$0", "$0.0040", "50¢", "$12.50" or "$1.5k". "—" for what isn't finite.
std::string fmtUSD(double amount);

}  // namespace ledgerfern::CostEstimator
