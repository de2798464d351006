#include "Services/linux/ColourScheme.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

namespace ledgerfern {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
const QString settings = QStringLiteral("org.freedesktop.appearance");
const QString setting = QStringLiteral("color-scheme");

/// The portal's own numbers; any other is no preference.
constexpr uint prefersDark = 1, prefersLight = 2;

/// Portals wrap the value once or twice.
QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

}  // namespace

ColourScheme::ColourScheme(std::function<void()> onChange) : onChange_(std::move(onChange)) {
    qGuiApp->installEventFilter(this);
    if (QDBusConnection::sessionBus().isConnected()) askPortal();
}

bool ColourScheme::isDark() const {
    return portalSaysDark_.value_or(QGuiApplication::palette().window().color().lightnessF() < 0.5F);
}

bool ColourScheme::eventFilter(QObject* object, QEvent* event) {
    if (object == qGuiApp && event->type() == QEvent::ApplicationPaletteChange) onChange_();
    return false;
}

void ColourScheme::settingChanged(const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (arguments.size() == 3 && arguments[0] == settings && arguments[1] == setting) take(arguments[2]);
}

void ColourScheme::askPortal() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, interface, QStringLiteral("SettingChanged"), this,
                SLOT(settingChanged(QDBusMessage)));
    QDBusMessage question = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    question.setArguments({settings, setting});
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusMessage reply = answer->reply();
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            take(reply.arguments()[0]);
        answer->deleteLater();
    });
}

void ColourScheme::take(const QVariant& value) {
    const uint scheme = unwrapped(value).toUInt();
    portalSaysDark_.reset();
    if (scheme == prefersDark || scheme == prefersLight) portalSaysDark_ = scheme == prefersDark;
    onChange_();
}

}  // namespace ledgerfern
