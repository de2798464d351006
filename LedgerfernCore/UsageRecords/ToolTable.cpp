#include "UsageRecords/ToolTable.h"

#include <algorithm>
#include <map>

namespace ledgerfern {

ToolTable::ToolTable(StringPool names, std::vector<Row> rows)
    : names_(std::move(names)), rows_(std::move(rows)) {
    std::sort(rows_.begin(), rows_.end(),
              [this](const Row& a, const Row& b) { return names_[a.label] < names_[b.label]; });
}

ToolTable::ToolTable(const std::vector<std::pair<std::string, ToolStat>>& rows) {
    std::map<std::string_view, ToolStat> sorted;
    for (const auto& [label, stat] : rows)
        sorted.insert_or_assign(label, stat);
    rows_.reserve(sorted.size());
    for (const auto& [label, stat] : sorted)
        rows_.push_back({names_.add(label), stat});
    names_.shrinkToFit();
}

const ToolStat* ToolTable::find(std::string_view label) const {
    const auto row =
        std::lower_bound(rows_.begin(), rows_.end(), label,
                         [this](const Row& r, std::string_view text) { return names_[r.label] < text; });
    return row != rows_.end() && names_[row->label] == label ? &row->stat : nullptr;
}

bool ToolTable::operator==(const ToolTable& other) const {
    if (size() != other.size()) return false;
    for (std::size_t i = 0; i < size(); ++i)
        if ((*this)[i].label != other[i].label || (*this)[i].stat != other[i].stat) return false;
    return true;
}

}  // namespace ledgerfern
