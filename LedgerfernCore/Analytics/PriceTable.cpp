#include "Analytics/PriceTable.h"

#include <algorithm>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {

PriceTable::PriceTable(const PriceMap& rows) {
    std::vector<std::pair<std::size_t, const PriceMap::value_type*>> byLength;
    for (const auto& row : rows)
        byLength.emplace_back(characterCount(row.first), &row);
    // The map's order decides among equally long keys.
    std::stable_sort(byLength.begin(), byLength.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    for (const auto& [length, row] : byLength)
        rows_.push_back({lowercased(row->first), row->second});
}

std::optional<ModelPrice> PriceTable::priceFor(std::optional<std::string_view> model) const {
    if (!model || model->empty()) return std::nullopt;
    const std::string name = lowercased(*model);
    const auto row = std::find_if(rows_.begin(), rows_.end(), [&](const Row& candidate) {
        return name.find(candidate.lowercaseKey) != std::string::npos;
    });
    if (row == rows_.end()) return std::nullopt;
    return row->price;
}

}  // namespace ledgerfern
