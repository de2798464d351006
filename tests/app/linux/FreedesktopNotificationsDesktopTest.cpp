#include "app/linux/NotificationsFixture.h"

#include <QStringList>
#include <QVariantMap>

namespace ledgerfern {
namespace {

using test::newConnection;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using NotificationPosting = test::NotificationsFixture;

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
    postAndSettle("50%");
    postAndSettle("51%");
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
    postAndSettle("52%");
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
    postAndSettle("50%");
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
    postAndSettle("50%");
    daemon.reset();
    startDaemon();
    daemon->number = 7;
    postAndSettle("51%");
    post("52%");
    ASSERT_TRUE(hasSeen(2));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("51%", 0), Pair("52%", 8)));
}

TEST_F(NotificationPosting, showsTheNewestWhereTheServiceEndsWithoutAnAnswer) {
    startDaemon();
    postAndSettle("50%");
    daemon->answersAtOnce = false;
    post("51%");
    ASSERT_TRUE(hasSeen(2));
    post("52%");
    daemon.reset();
    startDaemon();
    ASSERT_TRUE(hasSeen(1));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("52%", 0)));
}

TEST_F(NotificationPosting, isShownByTheNextServiceWhereOneEndsWithoutAnAnswer) {
    startDaemon();
    postAndSettle("50%");
    daemon->answersAtOnce = false;
    post("51%");
    ASSERT_TRUE(hasSeen(2));
    daemon.reset();
    startDaemon();
    ASSERT_TRUE(hasSeen(1));
    EXPECT_THAT(daemon->seen(), ElementsAre(Pair("51%", 0)));
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
    postAndSettle("50%");
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
    EXPECT_EQ(fetched(), Authorization::authorized);
    daemon = std::make_unique<FakeNotificationDaemon>(newConnection(privateBus.address()));
    ASSERT_TRUE(daemon->isRunning());
    post("52%");
    EXPECT_TRUE(
        eventually([&] { return !daemon->requests.empty() && daemon->seen().back().first == "52%"; }));
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

}  // namespace
}  // namespace ledgerfern
