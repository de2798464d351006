#include "Parsing/CallLabels.h"

namespace ledgerfern {

CallLabels::Index CallLabels::number(std::string_view id) {
    if (isLast(id)) return last_;
    last_ = ids_.intern(id);
    if (last_ != StringPool::none && last_ == labels_.size()) labels_.push_back(StringPool::none);
    return last_;
}

void CallLabels::setLabel(Index number, Index label) {
    if (number != StringPool::none) labels_[number] = label;
}

void CallLabels::shrinkToFit() {
    ids_.shrinkToFit();
    labels_.shrink_to_fit();
}

}  // namespace ledgerfern
