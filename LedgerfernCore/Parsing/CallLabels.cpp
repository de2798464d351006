#include "Parsing/CallLabels.h"

namespace ledgerfern {

CallLabels::Index CallLabels::number(std::string_view id) {
    const Index number = ids_.intern(id);
    if (number != StringPool::none && number == labels_.size()) labels_.push_back(StringPool::none);
    return number;
}

void CallLabels::setLabel(Index number, Index label) {
    if (number != StringPool::none) labels_[number] = label;
}

void CallLabels::shrinkToFit() {
    ids_.shrinkToFit();
    labels_.shrink_to_fit();
}

}  // namespace ledgerfern
