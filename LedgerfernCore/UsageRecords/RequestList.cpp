#include "UsageRecords/RequestList.h"

namespace ledgerfern {

bool RequestList::operator==(const RequestList& other) const {
    if (size() != other.size()) return false;
    for (std::size_t i = 0; i < size(); ++i)
        if ((*this)[i] != other[i]) return false;
    return true;
}

}  // namespace ledgerfern
