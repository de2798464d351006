#include "Services/linux/FreedesktopNotifications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QStringList>
#include <QVariantMap>
#include <memory>
#include <optional>

#include "app/EventLoop.h"
#include "app/FakeMainLoop.h"
#include "app/linux/FakeNotificationDaemon.h"
#include "app/linux/PrivateBus.h"
#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

using Authorization = NotificationCentre::Authorization;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
const QString servicePath = QStringLiteral("/org/freedesktop/Notifications");

/// A connection of its own, to the desktop's bus or to another.
QDBusConnection newConnection(const QString& address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")) {
    static int count = 0;
    return QDBusConnection::connectToBus(address, QStringLiteral("test %1").arg(++count));
}

class NotificationsTest : public FileFixture {
protected:
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

// Permission ------------------------------------------------------------------------------------------------

using NotificationPermission = NotificationsTest;

TEST_F(NotificationPermission, isGivenByAServiceThatRuns) {
    startDaemon();
    EXPECT_TRUE(centre->isUsable());
    EXPECT_EQ(fetched(), Authorization::authorized);
    EXPECT_EQ(requested(), true);
}

TEST_F(NotificationPermission, isNotThereWithoutAService) {
    EXPECT_TRUE(centre->isUsable());
    EXPECT_EQ(fetched(), Authorization::denied);
    EXPECT_EQ(requested(), false);
}

TEST_F(NotificationPermission, isGivenByAServiceThatCanBeStarted) {
    writeService("/bin/false");
    PrivateBus privateBus(busConfiguration());
    useBus(privateBus.address());
    EXPECT_EQ(fetched(), Authorization::authorized);
    EXPECT_EQ(requested(), true);
}

TEST_F(NotificationPermission, isNotThereWithoutABus) {
    useBus(QStringLiteral("unix:path=") + QString::fromStdString(path("none")));
    EXPECT_FALSE(centre->isUsable());
    EXPECT_EQ(fetched(), Authorization::denied);
    EXPECT_EQ(requested(), false);
}

TEST_F(NotificationPermission, isNotThereWhereTheBusRefusesToTell) {
    makeFolder("services");
    PrivateBus privateBus(busConfiguration(denied("NameHasOwner") + denied("ListActivatableNames")));
    useBus(privateBus.address());
    EXPECT_TRUE(centre->isUsable());
    EXPECT_EQ(fetched(), Authorization::denied);
}

TEST_F(NotificationPermission, isNotThereOnceTheBusHasGone) {
    makeFolder("services");
    PrivateBus privateBus(busConfiguration());
    useBus(privateBus.address());
    std::optional<Authorization> asked;
    centre->fetchAuthorization([&](Authorization status) { asked = status; });
    privateBus.kill();
    EXPECT_TRUE(eventually([&] { return asked.has_value(); }));
    EXPECT_EQ(fetched(), Authorization::denied);
    EXPECT_TRUE(eventually([&] { return !bus.isConnected(); }));
    EXPECT_EQ(fetched(), Authorization::denied);
    post("lost");
    EXPECT_TRUE(centre->isUsable());
}

TEST_F(NotificationPermission, isNotToldAfterTheEnd) {
    const auto tell = [](Authorization) { ADD_FAILURE() << "told"; };
    const auto desktopBus = bus;
    centre->fetchAuthorization(tell);
    useBus(QStringLiteral("unix:path=/none"));
    centre->fetchAuthorization(tell);
    centre.reset();
    bus = desktopBus;
    takeInAnswers();
}

// Posting, with a service that the test plays ---------------------------------------------------------------

using NotificationPosting = NotificationsTest;

TEST_F(NotificationPosting, tellsTheServiceEverything) {
    startDaemon();
    post("96% of the window used.");
    ASSERT_TRUE(hasSeen(1));
    const auto arguments = daemon->requests[0].arguments();
    EXPECT_EQ(daemon->requests[0].signature(), u"susssasa{sv}i");
    EXPECT_EQ(arguments[0], QStringLiteral("Ledgerfern"));
    EXPECT_EQ(arguments[1].toUInt(), 0U);
    EXPECT_EQ(arguments[2], QStringLiteral("ledgerfern"));
    EXPECT_EQ(arguments[3], QStringLiteral("Codex weekly limit at 50%"));
    EXPECT_EQ(arguments[4], QStringLiteral("96% of the window used."));
    EXPECT_THAT(arguments[5].toStringList(), IsEmpty());
    const auto hints = qdbus_cast<QVariantMap>(arguments[6]);
    EXPECT_EQ(hints[QStringLiteral("sound-name")], QStringLiteral("message-new-instant"));
    EXPECT_EQ(hints[QStringLiteral("desktop-entry")], QStringLiteral("ledgerfern"));
    EXPECT_EQ(arguments[7].toInt(), -1);
}

TEST_F(NotificationPosting, replacesTheEarlierOfTheSameIdentifier) {
    startDaemon();
    daemon->number = 41;
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    post("51%");
    ASSERT_TRUE(hasSeen(2));
    takeInAnswers();
    post("52%");
    ASSERT_TRUE(hasSeen(3));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("50%", 0), Pair("51%", 42), Pair("52%", 42)));
}

TEST_F(NotificationPosting, replacesNoneOfAnotherIdentifier) {
    startDaemon();
    daemon->answersAtOnce = false;
    post("50%", "ledgerfern.codex.7d.50");
    post("80%", "ledgerfern.codex.7d.80");
    ASSERT_TRUE(hasSeen(2)) << "one waits for the other";
    daemon->answerNext();
    daemon->answerNext();
    takeInAnswers();
    post("81%", "ledgerfern.codex.7d.80");
    ASSERT_TRUE(hasSeen(3));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("50%", 0), Pair("80%", 0), Pair("81%", 2)));
}

TEST_F(NotificationPosting, waitsForTheNumberOfWhatItReplaces) {
    startDaemon();
    daemon->answersAtOnce = false;
    post("50%");
    post("51%");
    post("52%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    EXPECT_EQ(daemon->requests.size(), 1U);
    daemon->answerNext();
    ASSERT_TRUE(hasSeen(2));
    daemon->answerNext();
    takeInAnswers();
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("50%", 0), Pair("52%", 1)));
}

TEST_F(NotificationPosting, goesOnAfterAServiceHasFailed) {
    startDaemon();
    daemon->answersAtOnce = false;
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    post("51%");
    daemon->failNext();
    ASSERT_TRUE(hasSeen(2));
    daemon->failNext();
    takeInAnswers();
    post("52%");
    ASSERT_TRUE(hasSeen(3));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("50%", 0), Pair("51%", 0), Pair("52%", 0)));
}

TEST_F(NotificationPosting, keepsTheNumberWhereAReplacementHasFailed) {
    startDaemon();
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    daemon->answersAtOnce = false;
    post("51%");
    ASSERT_TRUE(hasSeen(2));
    daemon->failNext();
    takeInAnswers();
    post("52%");
    ASSERT_TRUE(hasSeen(3));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("50%", 0), Pair("51%", 1), Pair("52%", 1)));
}

TEST_F(NotificationPosting, startsAnewWithTheNextService) {
    startDaemon();
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    daemon.reset();
    startDaemon();
    daemon->number = 7;
    post("51%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    post("52%");
    ASSERT_TRUE(hasSeen(2));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("51%", 0), Pair("52%", 8)));
}

TEST_F(NotificationPosting, showsTheNewestWhereTheServiceEndsWithoutAnAnswer) {
    startDaemon();
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    daemon->answersAtOnce = false;
    post("51%");
    ASSERT_TRUE(hasSeen(2));
    post("52%");
    daemon.reset();
    startDaemon();
    ASSERT_TRUE(hasSeen(1));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("52%", 0)));
}

TEST_F(NotificationPosting, isLostWithoutAServiceAndDoesNoHarm) {
    post("50%");
    takeInAnswers();
    startDaemon();
    post("51%");
    ASSERT_TRUE(hasSeen(1));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("51%", 0)));
}

TEST_F(NotificationPosting, isLostWhereTheServiceGoesForGood) {
    startDaemon();
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    takeInAnswers();
    daemon.reset();
    post("51%");
    takeInAnswers();
    takeInAnswers();  // of the second attempt
    startDaemon();
    post("52%");
    ASSERT_TRUE(hasSeen(1));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("52%", 0)));
}

TEST_F(NotificationPosting, bearsAServiceThatCanNotBeStarted) {
    writeService("/bin/false");
    PrivateBus privateBus(busConfiguration());
    useBus(privateBus.address());
    post("50%");
    post("51%");
    EXPECT_TRUE(fetched());
}

TEST_F(NotificationPosting, bearsAnAnswerThatIsNoNumber) {
    startDaemon();
    daemon->answersAtOnce = false;
    post("50%");
    ASSERT_TRUE(hasSeen(1));
    daemon->answerNext(QStringLiteral("none"));
    takeInAnswers();
    post("51%");
    ASSERT_TRUE(hasSeen(2));
    daemon->answerNext({});
    takeInAnswers();
    post("52%");
    ASSERT_TRUE(hasSeen(3));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("50%", 0), Pair("51%", 0), Pair("52%", 0)));
}

TEST_F(NotificationPosting, mayEndBeforeItsAnswer) {
    startDaemon();
    daemon->answersAtOnce = false;
    post("50%");
    post("51%");
    ASSERT_TRUE(hasSeen(1));
    centre = std::make_unique<FreedesktopNotifications>(newConnection(), loop);
    daemon->answerNext();
    takeInAnswers();
    EXPECT_EQ(daemon->requests.size(), 1U);
}

TEST(PlatformNotificationCentre, isThatOfTheSessionBus) {
    FakeMainLoop loop;
    FakeNotificationDaemon daemon(newConnection());
    const auto centre = platformNotificationCentre(loop);
    EXPECT_TRUE(centre->isUsable());
    centre->post({.identifier = "a", .title = "b", .body = "c"});
    EXPECT_TRUE(eventually([&] { return daemon.seen().size() == 1; }));
}

// Posting, with a service of the desktop --------------------------------------------------------------------

class DunstTest : public NotificationsTest {
protected:
    DunstTest() { startDunst(); }

    void startDunst() {
        ASSERT_TRUE(eventually([&] { return !isServiceThere(); })) << "the one before hasn't gone";
        write("dunstrc", "[global]\nhistory_length = 20\n[urgency_normal]\ntimeout = 0\n");
        const QStringList arguments{QStringLiteral("-conf"), QString::fromStdString(path("dunstrc"))};
        dunst = std::make_unique<ChildProgram>(QStringLiteral("dunst"), arguments);
        ASSERT_TRUE(eventually([&] { return isServiceThere(); })) << "dunst doesn't start";
    }
    void restartDunst() {
        dunst.reset();
        startDunst();
    }
    bool isServiceThere() const { return bus.interface()->isServiceRegistered(serviceName); }

    QDBusMessage ask(const QString& interface, const QString& method,
                     const QVariantList& arguments = {}) const {
        auto question = QDBusMessage::createMethodCall(serviceName, servicePath, interface, method);
        question.setArguments(arguments);
        return bus.call(question);
    }
    QDBusMessage command(const QString& method) const {
        return ask(QStringLiteral("org.dunstproject.cmd0"), method);
    }
    /// Another program shows a notification, and gets its number.
    uint postForAnother() const {
        const QVariantList arguments{QStringLiteral("Other"),
                                     0U,
                                     QString(),
                                     QStringLiteral("Mail"),
                                     QStringLiteral("for you"),
                                     QStringList(),
                                     QVariantMap(),
                                     -1};
        return ask(serviceName, QStringLiteral("Notify"), arguments).arguments().value(0).toUInt();
    }
    /// How many notifications are to be seen.
    uint shownCount() const {
        const auto reply = ask(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                               {QStringLiteral("org.dunstproject.cmd0"), QStringLiteral("displayedLength")});
        return reply.arguments().value(0).value<QDBusVariant>().variant().toUInt();
    }
    bool shows(uint count) {
        return eventually([&] { return shownCount() == count; });
    }
    /// The texts of all that are to be seen, which are closed by that.
    std::vector<std::string> closed() {
        command(QStringLiteral("NotificationCloseAll"));
        EXPECT_TRUE(shows(0));
        std::vector<std::string> texts;
        for (const auto& entry : history())
            texts.push_back(text(entry, "appname") + ": " + text(entry, "summary") + ": " +
                            text(entry, "body"));
        return texts;
    }
    QList<QVariantMap> history() const {
        const auto reply = command(QStringLiteral("NotificationListHistory"));
        return qdbus_cast<QList<QVariantMap>>(reply.arguments().value(0));
    }
    static std::string text(const QVariantMap& entry, const char* key) {
        return entry.value(QString::fromLatin1(key)).toString().toStdString();
    }

    std::unique_ptr<ChildProgram> dunst;
};

TEST_F(DunstTest, isAllowed) {
    EXPECT_EQ(fetched(), Authorization::authorized);
}

TEST_F(DunstTest, showsANotificationAndReplacesIt) {
    post("50% of the window used.");
    ASSERT_TRUE(shows(1));
    takeInAnswers();
    post("51% of the window used.");
    post("80% of the window used.", "ledgerfern.claude.5h.80");
    ASSERT_TRUE(shows(2));
    EXPECT_THAT(closed(),
                UnorderedElementsAre("Ledgerfern: Codex weekly limit at 50%: 51% of the window used.",
                                     "Ledgerfern: Codex weekly limit at 50%: 80% of the window used."));
}

TEST_F(DunstTest, showsOneThatTheUserHasClosedAgain) {
    post("50% of the window used.");
    ASSERT_TRUE(shows(1));
    takeInAnswers();
    command(QStringLiteral("NotificationCloseAll"));
    ASSERT_TRUE(shows(0));
    post("51% of the window used.");
    EXPECT_TRUE(shows(1));
}

TEST_F(DunstTest, leavesAnotherProgramsNotificationAloneAfterARestart) {
    const uint first = postForAnother();
    restartDunst();
    post("50% of the window used.");
    ASSERT_TRUE(shows(1));
    takeInAnswers();
    restartDunst();
    ASSERT_EQ(postForAnother(), first) << "this would try nothing: the numbers differ";
    post("51% of the window used.");
    ASSERT_TRUE(shows(2));
    EXPECT_THAT(closed(),
                UnorderedElementsAre("Other: Mail: for you",
                                     "Ledgerfern: Codex weekly limit at 50%: 51% of the window used."));
}

}  // namespace
}  // namespace ledgerfern
