#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QImage>
#include <QList>
#include <QMap>

#include "app/FakeBusObject.h"

namespace ledgerfern {

/// What panels of the newer kind and their items have in common.
class FakeTrayWatcher : public FakeBusObject {
public:
    static inline const QString serviceName = QStringLiteral("org.kde.StatusNotifierWatcher");

    explicit FakeTrayWatcher(bool hasHost = true)
        : FakeBusObject(serviceName, QStringLiteral("/StatusNotifierWatcher")) {
        setHost(hasHost);
        setMethod(QStringLiteral("RegisterStatusNotifierItem"),
                  [this](const QVariantList&, const QString& caller) {
                      item_ = caller;
                      return QVariantList();
                  });
    }

    void setHost(bool hasHost) {
        setProperty(QStringLiteral("IsStatusNotifierHostRegistered"), hasHost, QStringLiteral("b"));
    }
    bool hasItem() const { return !item_.isEmpty(); }

    QVariant property(const QString& name) const {
        QDBusMessage question =
            call(QStringLiteral("/StatusNotifierItem"), QStringLiteral("org.freedesktop.DBus.Properties"),
                 QStringLiteral("Get"));
        question.setArguments({QStringLiteral("org.kde.StatusNotifierItem"), name});
        return QDBusConnection::sessionBus()
            .call(question)
            .arguments()
            .value(0)
            .value<QDBusVariant>()
            .variant();
    }
    void activate() const {
        QDBusMessage click = call(QStringLiteral("/StatusNotifierItem"),
                                  QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("Activate"));
        click.setArguments({0, 0});
        QDBusConnection::sessionBus().call(click);
    }
    /// Every size of the icon.
    QList<QImage> icons() const {
        QList<QImage> icons;
        const auto list = property(QStringLiteral("IconPixmap")).value<QDBusArgument>();
        for (list.beginArray(); !list.atEnd();) {
            int width = 0, height = 0;
            QByteArray pixels;
            list.beginStructure();
            list >> width >> height >> pixels;
            list.endStructure();
            icons.push_back(image(width, height, pixels));
        }
        list.endArray();
        return icons;
    }
    /// Empty where the item is gone.
    QString toolTip() const {
        const QVariant value = property(QStringLiteral("ToolTip"));
        if (!value.isValid()) return {};
        const auto parts = value.value<QDBusArgument>();
        QString icon, title;
        parts.beginStructure();
        parts >> icon;
        parts.beginArray();
        parts.endArray();
        parts >> title;
        parts.endStructure();
        return title;
    }
    /// The titles of the menu's entries, with the numbers that the menu knows them by.
    QMap<QString, int> menu() const {
        const QDBusMessage reply = askMenu(QStringLiteral("GetLayout"), {0, -1, QStringList()});
        QMap<QString, int> entries;
        for (const QVariant& child : menuEntry(reply.arguments().value(1)).children) {
            const MenuEntry entry = menuEntry(child);
            entries[entry.properties.value(QStringLiteral("label")).toString()] = entry.number;
        }
        return entries;
    }
    /// Chooses the menu's entry of that title.
    void choose(const QString& title) const {
        const auto empty = QVariant::fromValue(QDBusVariant(QString()));
        const int absent = -1;
        askMenu(QStringLiteral("Event"), {menu().value(title, absent), QStringLiteral("clicked"), empty, 0U});
    }

private:
    struct MenuEntry {
        int number = 0;
        QVariantMap properties;
        QVariantList children;
    };

    static MenuEntry menuEntry(const QVariant& layout) {
        const auto parts = layout.value<QDBusArgument>();
        MenuEntry entry;
        parts.beginStructure();
        parts >> entry.number >> entry.properties >> entry.children;
        parts.endStructure();
        return entry;
    }
    QDBusMessage askMenu(const QString& method, const QVariantList& arguments) const {
        QDBusMessage question = call(property(QStringLiteral("Menu")).value<QDBusObjectPath>().path(),
                                     QStringLiteral("com.canonical.dbusmenu"), method);
        question.setArguments(arguments);
        return QDBusConnection::sessionBus().call(question);
    }
    QDBusMessage call(const QString& path, const QString& interface, const QString& method) const {
        return QDBusMessage::createMethodCall(item_, path, interface, method);
    }
    static QImage image(int width, int height, const QByteArray& pixels) {
        QImage image(width, height, QImage::Format_ARGB32);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const auto* at = pixels.constData() + 4 * (y * width + x);
                const auto byte = [at](int i) { return static_cast<unsigned char>(at[i]); };
                image.setPixel(x, y, qRgba(byte(1), byte(2), byte(3), byte(0)));
            }
        return image;
    }

    QString item_;
};

}  // namespace ledgerfern
