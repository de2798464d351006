#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusConnectionInterface>
#include <functional>
#include <memory>
#include <optional>

#include "Services/linux/FreedesktopNotifications.h"
#include "app/EventLoop.h"
#include "app/FakeMainLoop.h"
#include "app/linux/FakeNotificationDaemon.h"
#include "app/linux/PrivateBus.h"
#include "core/FileFixture.h"

namespace ledgerfern::test {

inline const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
inline const QString servicePath = QStringLiteral("/org/freedesktop/Notifications");

/// A connection of its own, to the desktop's bus or to another.
inline QDBusConnection newConnection(
    const QString& address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")) {
    static int count = 0;
    return QDBusConnection::connectToBus(address, QStringLiteral("test %1").arg(++count));
}

/// A notification centre on the desktop's bus, with a service that the test plays once it has started one.
class NotificationsFixture : public FileFixture {
protected:
    using Authorization = NotificationCentre::Authorization;

    void TearDown() override {
        centre.reset();
        daemon.reset();
        QDBusConnection::disconnectFromBus(bus.name());
    }

    bool eventually(const std::function<bool()>& isTrue) {
        return ledgerfern::eventually([&] {
            loop.runPosted();
            return isTrue();
        });
    }
    void startDaemon() {
        daemon = std::make_unique<FakeNotificationDaemon>(newConnection());
        ASSERT_TRUE(daemon->isRunning());
    }
    void useBus(const QString& address) {
        bus = newConnection(address);
        centre = std::make_unique<FreedesktopNotifications>(bus, loop);
    }
    /// A bus on which services may be started, and where some things may be refused.
    std::string busConfiguration(const std::string& refusals = "") const {
        return write("bus.conf",
                     "<busconfig><type>session</type><listen>unix:dir=" + folder() + "</listen><servicedir>" +
                         folder() +
                         "/services</servicedir><policy context=\"default\">"
                         "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>" +
                         refusals + "</policy></busconfig>");
    }
    static std::string denied(const std::string& method) {
        return "<deny send_destination=\"org.freedesktop.DBus\" send_interface=\"org.freedesktop.DBus\" "
               "send_member=\"" +
               method + "\"/>";
    }
    void writeService(const std::string& command) const {
        write("services/fake.service",
              "[D-BUS Service]\nName=org.freedesktop.Notifications\nExec=" + command + "\n");
    }

    void post(const std::string& body, const std::string& identifier = "ledgerfern.codex.7d.50") const {
        centre->post({.identifier = identifier, .title = "Codex weekly limit at 50%", .body = body});
    }
    /// Posts, and lets the service answer.
    void postAndSettle(const std::string& body) {
        const std::size_t count = daemon->requests.size() + 1;
        post(body);
        ASSERT_TRUE(hasSeen(count));
        takeInAnswers();
    }
    /// Waits for the daemon's requests.
    bool hasSeen(std::size_t count) {
        return eventually([&] { return daemon->requests.size() >= count; });
    }
    /// Takes in all answers that have been given. What comes through one connection keeps its order, so that
    /// a question to the bus tells when the rest has come through.
    void takeInAnswers() {
        if (daemon) daemon->flush();
        bus.interface()->isServiceRegistered(serviceName);
        for (int i = 0; i < 3; ++i) {  // an answer may take more than one turn of the event loop
            QCoreApplication::processEvents();
            loop.runPosted();
        }
    }

    std::optional<Authorization> fetched() {
        std::optional<Authorization> result;
        centre->fetchAuthorization([&](Authorization status) { result = status; });
        EXPECT_FALSE(result) << "answered from within the call";
        eventually([&] { return result.has_value(); });
        return result;
    }
    std::optional<bool> requested() {
        std::optional<bool> result;
        centre->requestAuthorization([&](bool isAllowed) { result = isAllowed; });
        EXPECT_FALSE(result) << "answered from within the call";
        eventually([&] { return result.has_value(); });
        return result;
    }

    FakeMainLoop loop;
    QDBusConnection bus = newConnection();
    std::unique_ptr<FreedesktopNotifications> centre = std::make_unique<FreedesktopNotifications>(bus, loop);
    std::unique_ptr<FakeNotificationDaemon> daemon;
};

}  // namespace ledgerfern::test
