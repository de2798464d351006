#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "Services/NotificationCentre.h"

namespace ledgerfern {

/// The desktop's notification service, which numbers what it shows: a notification replaces another by that
/// one's number.
///
/// Who runs the service can change while a notification is up, and the successor counts anew. So one that is
/// to replace another goes to the very program that has shown that, and to whoever runs the service only
/// where that program is gone.
class FreedesktopNotifications : public NotificationCentre {
public:
    /// On `bus`, which needn't be connected. `loop` must outlive this.
    FreedesktopNotifications(QDBusConnection bus, MainLoop& loop);

    bool isUsable() const override { return isUsable_; }
    /// Permission is given where the service runs or can be started.
    void fetchAuthorization(std::function<void(Authorization)> answer) override;
    void requestAuthorization(std::function<void(bool)> answer) override;
    void post(const Notification& notification) override;

private:
    using Answer = std::function<void(const QDBusMessage& message)>;
    /// What is known of the notifications with one identifier.
    struct Shown {
        QString program;  ///< Which shows the last, by its own name on the bus; empty before there is one.
        uint number = 0;  ///< That program's number for it.
        bool isAwaited = false;            ///< One is on its way, and its number isn't known yet.
        std::optional<Notification> next;  ///< What is to take that one's place.
    };

    /// `answer` gets the reply, or an error where there is none, on the main thread and never at once.
    void call(const QDBusMessage& message, Answer answer);
    void send(const Notification& notification, Shown& shown);
    void finishSending(const Notification& notification, const QDBusMessage& reply);
    /// Without a running service: can it be started?
    void fetchActivatable(std::function<void(Authorization)> answer);

    QDBusConnection bus_;
    MainLoop& loop_;
    bool isUsable_;
    std::map<std::string, Shown> shown_;
    QObject pending_;  // owns what waits for replies; the last member, so that no reply finds the others gone
};

}  // namespace ledgerfern
