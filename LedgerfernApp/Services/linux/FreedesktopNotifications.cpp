#include "Services/linux/FreedesktopNotifications.h"

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QPointer>
#include <QStringList>
#include <QVariantMap>
#include <utility>

#include "Application/MainLoop.h"

namespace ledgerfern {

namespace {

const QString& serviceName() {
    static const QString name = QStringLiteral("org.freedesktop.Notifications");
    return name;
}

QDBusMessage busCall(const char* method) {
    return QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QString::fromLatin1(method));
}

/// To `program`, in place of what has the number there; 0 replaces nothing.
QDBusMessage notifyCall(const NotificationCentre::Notification& notification, const QString& program,
                        uint number) {
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("ledgerfern")},
                            {QStringLiteral("sound-name"), QStringLiteral("message-new-instant")}};
    constexpr int asLongAsTheServiceLikes = -1;
    auto message = QDBusMessage::createMethodCall(program, QStringLiteral("/org/freedesktop/Notifications"),
                                                  serviceName(), QStringLiteral("Notify"));
    message << QStringLiteral("Ledgerfern") << number << QStringLiteral("ledgerfern")
            << QString::fromStdString(notification.title) << QString::fromStdString(notification.body)
            << QStringList() << hints << asLongAsTheServiceLikes;
    return message;
}

/// Of no type where the call has failed: an error's first argument is its text.
QVariant result(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

/// Whether nobody was there to answer, or nobody any more.
bool isFromNobody(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage) return false;
    const auto error = QDBusError(reply).type();
    return error == QDBusError::ServiceUnknown || error == QDBusError::NoReply;
}

}  // namespace

FreedesktopNotifications::FreedesktopNotifications(QDBusConnection bus, MainLoop& loop)
    : bus_(std::move(bus)), loop_(loop), isUsable_(bus_.isConnected()) {}

void FreedesktopNotifications::call(const QDBusMessage& message, Answer answer) {
    const auto pending = bus_.asyncCall(message);
    // One that can't be sent has ended by now, and a watcher wouldn't tell.
    if (pending.isFinished())
        return loop_.post([pending, answer = std::move(answer), self = QPointer(&pending_)] {
            if (self) answer(pending.reply());
        });
    auto* const watcher = new QDBusPendingCallWatcher(pending, &pending_);
    const auto finish = [watcher, answer = std::move(answer)] {
        watcher->deleteLater();
        answer(watcher->reply());
    };
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, finish);
}

// Permission ------------------------------------------------------------------------------------------------

void FreedesktopNotifications::fetchAuthorization(std::function<void(Authorization)> answer) {
    const auto question = busCall("NameHasOwner") << serviceName();
    call(question, [this, answer = std::move(answer)](const QDBusMessage& reply) {
        if (result(reply).toBool())
            answer(Authorization::authorized);
        else
            fetchActivatable(answer);
    });
}

void FreedesktopNotifications::fetchActivatable(std::function<void(Authorization)> answer) {
    call(busCall("ListActivatableNames"), [answer = std::move(answer)](const QDBusMessage& reply) {
        const bool canStart = result(reply).toStringList().contains(serviceName());
        answer(canStart ? Authorization::authorized : Authorization::denied);
    });
}

void FreedesktopNotifications::requestAuthorization(std::function<void(bool)> answer) {
    // There is nobody to ask.
    fetchAuthorization(
        [answer = std::move(answer)](Authorization found) { answer(found == Authorization::authorized); });
}

// Posting ---------------------------------------------------------------------------------------------------

void FreedesktopNotifications::post(const Notification& notification) {
    Shown& shown = shown_[notification.identifier];
    if (shown.isAwaited)
        shown.next = notification;
    else
        send(notification, shown);
}

void FreedesktopNotifications::send(const Notification& notification, Shown& shown) {
    shown.isAwaited = true;
    const QString& program = shown.program.isEmpty() ? serviceName() : shown.program;
    call(notifyCall(notification, program, shown.number),
         [this, notification](const QDBusMessage& reply) { finishSending(notification, reply); });
}

void FreedesktopNotifications::finishSending(const Notification& notification, const QDBusMessage& reply) {
    Shown& shown = shown_[notification.identifier];
    shown.isAwaited = false;
    const bool isProgramGone = !shown.program.isEmpty() && isFromNobody(reply);
    if (const uint number = result(reply).toUInt(); number != 0) {
        shown.program = reply.service();
        shown.number = number;
    }
    if (isProgramGone) {
        shown.program.clear();
        shown.number = 0;
        if (!shown.next) shown.next = notification;
    }
    if (const auto next = std::exchange(shown.next, std::nullopt)) post(*next);
}

}  // namespace ledgerfern
