#pragma once

#include <vector>

#include "Foundation/StringPool.h"

namespace ledgerfern {

/// The tool label of each call id that a log has named, for the life of the file: a byte arena and two flat
/// tables. Labels are indices into the session's names.
class CallLabels {
public:
    using Index = StringPool::Index;

    /// The number of an id, to ask for its label later; `StringPool::none` where there is no room for it.
    Index number(std::string_view id);
    /// `StringPool::none` where the id has no label (yet), and for `StringPool::none`.
    Index label(Index number) const { return number == StringPool::none ? number : labels_[number]; }
    /// The label of an id; `StringPool::none` where it has none.
    Index labelOf(std::string_view id) { return label(isLast(id) ? last_ : ids_.find(id)); }
    /// Nothing happens for `StringPool::none`.
    void setLabel(Index number, Index label);
    void shrinkToFit();

private:
    bool isLast(std::string_view id) const { return last_ < ids_.size() && ids_[last_] == id; }

    StringIndex ids_;
    std::vector<Index> labels_;
    Index last_ =
        StringPool::none;  ///< The number that was asked for last: a call's result follows the call.
};

}  // namespace ledgerfern
