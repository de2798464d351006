#include "Analytics/PriceTable.h"

#include <algorithm>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {

PriceTable::PriceTable(const PriceMap& rows) {
    struct Candidate {
        std::size_t length;
        PriceMap::const_iterator row;
    };
    std::vector<Candidate> candidates;
    for (auto row = rows.begin(); row != rows.end(); ++row)
        candidates.push_back({characterCount(row->first), row});
    std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
        return a.length != b.length ? a.length > b.length : a.row->first < b.row->first;
    });
    for (const Candidate& candidate : candidates)
        rows_.push_back({lowercased(candidate.row->first), candidate.row->second});
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
