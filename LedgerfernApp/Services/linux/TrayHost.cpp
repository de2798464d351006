#include "Services/linux/TrayHost.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QTimer>
#include <chrono>
#include <utility>

namespace ledgerfern {

namespace {

// The newer kind of tray: panels are hosts, and a watcher on the session bus brings them and the items
// together.
const QString watcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

/// As long as a desktop may take to get its panel up after it has started us.
constexpr std::chrono::seconds patience(5);

QDBusMessage hostQuestion() {
    QDBusMessage question = QDBusMessage::createMethodCall(
        watcher, watcherPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question.setArguments({watcher, QStringLiteral("IsStatusNotifierHostRegistered")});
    question.setAutoStartService(false);
    return question;
}

bool isTrue(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().size() == 1 &&
           reply.arguments()[0].value<QDBusVariant>().variant().toBool();
}

}  // namespace

TrayHost::TrayHost(std::function<void()> onHost, std::function<void()> onMissing)
    : onHost_(std::move(onHost)), xembed_([this] { look(); }) {
    if (QDBusConnection::sessionBus().isConnected()) watchBus();
    QTimer::singleShot(0, this, &TrayHost::look);
    QTimer::singleShot(patience, this, [this, onMissing = std::move(onMissing)] {
        if (!isFound_) onMissing();
    });
}

void TrayHost::watchBus() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    auto* arrivals = new QDBusServiceWatcher(watcher, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(arrivals, &QDBusServiceWatcher::serviceRegistered, this, &TrayHost::look);
    bus.connect(watcher, watcherPath, watcher, QStringLiteral("StatusNotifierHostRegistered"), this,
                SLOT(look()));
}

void TrayHost::look() {
    if (isFound_) return;
    if (QDBusConnection::sessionBus().isConnected())
        askWatcher();
    else
        settle(false);
}

void TrayHost::askWatcher() {
    auto* answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(hostQuestion()), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        settle(isTrue(answer->reply()));
    });
}

void TrayHost::settle(bool watcherHasHost) {
    if (isFound_ || !(watcherHasHost || xembed_.isThere())) return;
    isFound_ = true;
    onHost_();
}

}  // namespace ledgerfern
