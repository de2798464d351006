#include "Services/LoginItem.h"

namespace ledgerfern::LoginItem {

void setEnabled(LoginItemService& service, bool on) {
    if (!on)
        service.unregisterItem();
    else if (!service.isEnabled())
        service.registerItem();
}

}  // namespace ledgerfern::LoginItem
