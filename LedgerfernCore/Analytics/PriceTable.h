#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ledgerfern {

/// What a model's tokens cost, in USD per one million tokens.
struct ModelPrice {
    double input = 0;  ///< Uncached input; what is written into the cache counts as such too.
    double cachedInput = 0;
    double output = 0;  ///< Reasoning included.

    bool operator==(const ModelPrice&) const = default;
};

/// Rows by model key, as the user sees and edits them.
using PriceMap = std::map<std::string, ModelPrice>;

/// Finds the row for a model: the longest key that occurs anywhere in the model's name, upper and lower case
/// alike; of equally long ones the first in ascending order of bytes. A value, made once for a table and read
/// by any thread.
class PriceTable {
public:
    PriceTable() = default;
    explicit PriceTable(const PriceMap& rows);

    /// Absent for an absent, empty or unknown name.
    std::optional<ModelPrice> priceFor(std::optional<std::string_view> model) const;

private:
    struct Row {
        std::string lowercaseKey;
        ModelPrice price;
    };
    std::vector<Row> rows_;  // best match first
};

}  // namespace ledgerfern
