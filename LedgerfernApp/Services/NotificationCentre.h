#pragma once

#include <functional>
#include <memory>
#include <string>

namespace ledgerfern {

class MainLoop;

/// The platform's notifications. Main thread; nothing waits, nothing fails outward, and answers come on the
/// main thread too, never from within the call that asked.
class NotificationCentre {
public:
    enum class Authorization {
        notDetermined,  ///< The user hasn't been asked.
        denied,
        authorized,  ///< Also provisionally, or for a while.
    };
    /// A notification, shown at once with the default sound. One with the identifier of an earlier one takes
    /// its place.
    struct Notification {
        std::string identifier;
        std::string title;
        std::string body;

        bool operator==(const Notification&) const = default;
    };

    virtual ~NotificationCentre() = default;

    /// Whether notifications can be used at all by a program that runs as this one does. Doesn't change.
    virtual bool isUsable() const = 0;
    virtual void fetchAuthorization(std::function<void(Authorization)> answer) = 0;
    /// Asks the user to allow notifications with sounds; false also where that can't be asked.
    virtual void requestAuthorization(std::function<void(bool)> answer) = 0;
    virtual void post(const Notification& notification) = 0;
};

/// The one of the platform. `loop` must outlive it.
std::unique_ptr<NotificationCentre> platformNotificationCentre(MainLoop& loop);

}  // namespace ledgerfern
