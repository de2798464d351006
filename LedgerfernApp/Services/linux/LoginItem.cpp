#include "Services/LoginItem.h"

#include "Services/UpdateFramework.h"
#include "Services/linux/AutostartEntry.h"

namespace ledgerfern {

std::unique_ptr<LoginItemService> platformLoginItem() {
    return std::make_unique<AutostartEntry>(AutostartEntry::defaultFolder(), executablePath());
}

}  // namespace ledgerfern
