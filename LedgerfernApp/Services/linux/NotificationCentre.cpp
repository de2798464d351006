#include "Services/NotificationCentre.h"

#include "Services/linux/FreedesktopNotifications.h"

namespace ledgerfern {

std::unique_ptr<NotificationCentre> platformNotificationCentre(MainLoop& loop) {
    return std::make_unique<FreedesktopNotifications>(QDBusConnection::sessionBus(), loop);
}

}  // namespace ledgerfern
