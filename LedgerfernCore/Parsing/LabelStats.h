#pragma once

#include <optional>
#include <vector>

#include "Foundation/StringPool.h"
#include "UsageRecords/Records.h"
#include "UsageRecords/ToolTable.h"

namespace ledgerfern {

/// Statistics by tool label while a log is read. Labels are indices into the session's names.
class LabelStats {
public:
    using Index = StringPool::Index;

    /// The label's statistics, which are made with zeros where there are none. Not to be asked for
    /// `StringPool::none`.
    ToolStat& operator[](Index label);
    /// The labels that have statistics, as a session holds them.
    ToolTable table(const StringPool& names) const;
    void shrinkToFit() { stats_.shrink_to_fit(); }

private:
    std::vector<std::optional<ToolStat>> stats_;  // at the label's index
};

}  // namespace ledgerfern
