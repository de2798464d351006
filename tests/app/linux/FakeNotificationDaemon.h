#pragma once

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QString>
#include <QVariant>
#include <string>
#include <utility>
#include <vector>

namespace ledgerfern {

/// A notification service that shows nothing: keeps what it is asked to show, and answers as the test says.
class FakeNotificationDaemon : public QDBusVirtualObject {
public:
    /// Takes the service's name on the bus, of which it needs a connection of its own.
    explicit FakeNotificationDaemon(QDBusConnection bus) : bus_(std::move(bus)) {
        isRunning_ = bus_.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), this) &&
                     bus_.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    ~FakeNotificationDaemon() override {
        bus_.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        QDBusConnection::disconnectFromBus(bus_.name());
    }

    /// Returns once all answers have reached the bus.
    void flush() const {
        bus_.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.Notifications"));
    }

    bool isRunning() const { return isRunning_; }
    QString introspect(const QString& /*path*/) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& /*connection*/) override {
        if (message.member() != u"Notify") return false;
        message.setDelayedReply(true);
        requests.push_back(message);
        if (answersAtOnce) answerNext();
        return true;
    }

    /// Answers the oldest request that hasn't been: with the number that is to be replaced, or a new one.
    void answerNext() {
        const QDBusMessage& request = requests.at(answered_++);
        const uint replaced = request.arguments().value(1).toUInt();
        bus_.send(request.createReply(replaced != 0 ? replaced : ++number));
    }
    /// Answers it with something else; nothing where it isn't valid.
    void answerNext(const QVariant& other) {
        const QDBusMessage& request = requests.at(answered_++);
        bus_.send(other.isValid() ? request.createReply(other) : request.createReply());
    }
    void failNext() {
        bus_.send(requests.at(answered_++).createErrorReply(QDBusError::Failed, QStringLiteral("no")));
    }

    /// Of each request: the text under the title, and the number that it replaces.
    using Request = std::pair<std::string, uint>;
    std::vector<Request> seen() const {
        std::vector<Request> result;
        for (const auto& request : requests)
            result.emplace_back(request.arguments().value(4).toString().toStdString(),
                                request.arguments().value(1).toUInt());
        return result;
    }

    bool answersAtOnce = true;
    uint number = 0;  ///< The last that was given.
    std::vector<QDBusMessage> requests;

private:
    QDBusConnection bus_;
    bool isRunning_ = false;
    std::size_t answered_ = 0;
};

}  // namespace ledgerfern
