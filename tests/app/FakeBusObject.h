#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <functional>
#include <map>

namespace ledgerfern {

/// A service on the session bus that a test plays: one object with methods and properties of one interface.
class FakeBusObject : public QDBusVirtualObject {
public:
    using Method = std::function<QVariantList(const QVariantList& arguments, const QString& caller)>;

    FakeBusObject(const QString& service, const QString& path)
        : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, service)),
          service_(service),
          path_(path) {}
    ~FakeBusObject() override { QDBusConnection::disconnectFromBus(service_); }

    /// From now on others find it.
    bool start() { return bus_.registerVirtualObject(path_, this) && bus_.registerService(service_); }

    void setMethod(const QString& name, Method method) { methods_[name] = std::move(method); }
    void setProperty(const QString& name, const QVariant& value, const QString& signature) {
        properties_[name] = {value, signature};
    }
    bool emitSignal(const QString& interface, const QString& name, const QVariantList& arguments = {}) {
        QDBusMessage signal = QDBusMessage::createSignal(path_, interface, name);
        signal.setArguments(arguments);
        return bus_.send(signal);
    }

    QString introspect(const QString& /*path*/) const override {
        QString properties;
        for (const auto& [name, property] : properties_)
            properties += QStringLiteral("<property name=\"%1\" type=\"%2\" access=\"read\"/>")
                              .arg(name, property.signature);
        return QStringLiteral("<interface name=\"%1\">%2</interface>").arg(service_, properties);
    }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        if (message.member() == u"Get") return answerProperty(message, bus);
        const auto method = methods_.find(message.member());
        if (method == methods_.end()) return false;
        return bus.send(message.createReply(method->second(message.arguments(), message.service())));
    }

private:
    struct Property {
        QVariant value;
        QString signature;
    };

    bool answerProperty(const QDBusMessage& message, const QDBusConnection& bus) {
        const auto property = properties_.find(message.arguments().value(1).toString());
        if (property == properties_.end()) return false;
        return bus.send(message.createReply(QVariant::fromValue(QDBusVariant(property->second.value))));
    }

    QDBusConnection bus_;
    QString service_;
    QString path_;
    std::map<QString, Method> methods_;
    std::map<QString, Property> properties_;
};

}  // namespace ledgerfern
