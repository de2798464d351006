#include "Services/LoginItem.h"

#include <utility>

#include "Services/linux/AutostartEntry.h"

namespace ledgerfern {

std::unique_ptr<LoginItemService> platformLoginItem(std::string program) {
    return std::make_unique<AutostartEntry>(AutostartEntry::defaultFolder(), std::move(program));
}

}  // namespace ledgerfern
