#include "app/linux/NotificationsFixture.h"

#include <QDBusArgument>
#include <QDBusReply>
#include <QStringList>
#include <QVariantMap>

namespace ledgerfern {
namespace {

using test::serviceName;
using test::servicePath;
using testing::UnorderedElementsAre;

class DunstTest : public test::NotificationsFixture {
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
