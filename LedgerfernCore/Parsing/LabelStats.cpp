#include "Parsing/LabelStats.h"

namespace ledgerfern {

ToolStat& LabelStats::operator[](Index label) {
    if (label >= stats_.size()) stats_.resize(std::size_t{label} + 1);
    std::optional<ToolStat>& stat = stats_[label];
    if (!stat) stat.emplace();
    return *stat;
}

ToolTable LabelStats::table(const StringPool& names) const {
    std::vector<ToolTable::Row> rows;
    for (std::size_t label = 0; label < stats_.size(); ++label)
        if (stats_[label]) rows.push_back({static_cast<Index>(label), *stats_[label]});
    return {names, std::move(rows)};
}

}  // namespace ledgerfern
