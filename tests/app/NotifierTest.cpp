#include "Services/Notifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>

#include "app/FakeNotificationCentre.h"

namespace ledgerfern {

/// How GoogleTest shows one.
void PrintTo(const NotificationCentre::Notification& notification, std::ostream* stream) {
    *stream << notification.identifier << ": " << notification.title << ": " << notification.body;
}

namespace {

using Authorization = NotificationCentre::Authorization;
using Notification = NotificationCentre::Notification;
using testing::ElementsAre;
using testing::IsEmpty;

class NotifierTest : public testing::Test {
protected:
    NotifierTest() { allow(notifier, centre); }

    static void allow(Notifier& notifier, FakeNotificationCentre& centre) {
        notifier.requestAuthorizationIfNeeded([] {});
        centre.answerFetches(Authorization::authorized);
    }
    /// The identifiers of what a change of the Codex limit posts.
    std::vector<std::string> posted(double previous, double current) {
        centre.posted.clear();
        notifier.checkThresholds("codex.7d", "Codex weekly limit", previous, current);
        std::vector<std::string> identifiers;
        for (const auto& notification : centre.posted)
            identifiers.push_back(notification.identifier);
        return identifiers;
    }

    FakeNotificationCentre centre;
    Notifier notifier{centre};
    const std::string at50 = "ledgerfern.codex.7d.50";
    const std::string at80 = "ledgerfern.codex.7d.80";
    const std::string at95 = "ledgerfern.codex.7d.95";
};

TEST_F(NotifierTest, aJumpAcrossThreeThresholdsPostsThree) {
    notifier.checkThresholds("codex.7d", "Codex weekly limit", 40, 96);
    const std::string body = "96% of the window used.";
    EXPECT_THAT(centre.posted, ElementsAre(Notification{at50, "Codex weekly limit at 50%", body},
                                           Notification{at80, "Codex weekly limit at 80%", body},
                                           Notification{at95, "Codex weekly limit at 95%", body}));
}

TEST_F(NotifierTest, aRiseFrom49To81PostsTwo) {
    EXPECT_THAT(posted(49, 81), ElementsAre(at50, at80));
}

TEST_F(NotifierTest, namesTheLimitByItsKeyAndTitle) {
    notifier.checkThresholds("claude.5h", "Claude 5-hour limit", 79, 80);
    EXPECT_THAT(centre.posted,
                ElementsAre(Notification{"ledgerfern.claude.5h.80", "Claude 5-hour limit at 80%",
                                         "80% of the window used."}));
}

TEST_F(NotifierTest, roundsHalvesInTheBodyAwayFromZero) {
    notifier.checkThresholds("codex.7d", "Codex weekly limit", 40, 52.5);
    EXPECT_EQ(centre.posted.at(0).body, "53% of the window used.");
    notifier.checkThresholds("codex.7d", "Codex weekly limit", 40, 52.4);
    EXPECT_EQ(centre.posted.at(1).body, "52% of the window used.");
}

TEST_F(NotifierTest, aThresholdMustLieAboveThePreviousValue) {
    EXPECT_THAT(posted(50, 50.0), IsEmpty());
    EXPECT_THAT(posted(50, 51), IsEmpty());
}

TEST_F(NotifierTest, aThresholdIsCrossedOnceItIsReached) {
    EXPECT_THAT(posted(49.9, 50.0), ElementsAre(at50));
    EXPECT_THAT(posted(49.8, 49.9), IsEmpty());
}

TEST_F(NotifierTest, anUnchangedValuePostsNothingEvenOnAThreshold) {
    for (const double value : {0.0, 50.0, 80.0, 95.0, 100.0})
        EXPECT_THAT(posted(value, value), IsEmpty()) << value;
}

TEST_F(NotifierTest, aFallingValuePostsNothing) {
    EXPECT_THAT(posted(96, 40), IsEmpty());
}

TEST_F(NotifierTest, aRiseAfterAFallPostsAgainUnderTheSameIdentifier) {
    EXPECT_THAT(posted(40, 60), ElementsAre(at50));
    EXPECT_THAT(posted(60, 3), IsEmpty());
    EXPECT_THAT(posted(3, 55), ElementsAre(at50));
}

TEST_F(NotifierTest, valuesThatAreNoNumbersPostNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(posted(nan, 60), IsEmpty());
    EXPECT_THAT(posted(40, nan), IsEmpty());
    EXPECT_THAT(posted(40, std::numeric_limits<double>::infinity()), IsEmpty());
}

TEST_F(NotifierTest, whatIsCrossedWhileSwitchedOffIsNotOwedLater) {
    EXPECT_TRUE(notifier.isEnabled());
    notifier.setEnabled(false);
    EXPECT_THAT(posted(49, 81), IsEmpty());
    notifier.setEnabled(true);
    EXPECT_THAT(posted(81, 82), IsEmpty());
    EXPECT_THAT(posted(82, 95), ElementsAre(at95));
}

// Permission ------------------------------------------------------------------------------------------------

/// What becomes of the permission where the status is found, and the user then answers.
struct Outcome {
    bool isAuthorized = false;
    int requestCount = 0;
    int doneCount = 0;

    bool operator==(const Outcome&) const = default;
};

Outcome outcome(Authorization status, std::optional<bool> answer) {
    FakeNotificationCentre centre;
    Notifier notifier(centre);
    Outcome result;
    notifier.requestAuthorizationIfNeeded([&] { ++result.doneCount; });
    EXPECT_EQ(result.doneCount, 0);
    centre.answerFetches(status);
    EXPECT_EQ(result.doneCount, answer ? 0 : 1);
    if (answer) centre.answerRequests(*answer);
    result.isAuthorized = notifier.authorized();
    result.requestCount = centre.requestCount;
    return result;
}

TEST(NotifierPermission, isAbsentAtFirst) {
    FakeNotificationCentre centre;
    Notifier notifier(centre);
    EXPECT_FALSE(notifier.authorized());
    EXPECT_TRUE(notifier.bundled());
    notifier.checkThresholds("codex.7d", "Codex weekly limit", 40, 96);
    EXPECT_THAT(centre.posted, IsEmpty());
}

TEST(NotifierPermission, isTakenOverWhereItIsSettled) {
    EXPECT_EQ(outcome(Authorization::authorized, {}), (Outcome{true, 0, 1}));
    EXPECT_EQ(outcome(Authorization::denied, {}), (Outcome{false, 0, 1}));
}

TEST(NotifierPermission, isAskedForWhereItIsNotDetermined) {
    EXPECT_EQ(outcome(Authorization::notDetermined, true), (Outcome{true, 1, 1}));
    EXPECT_EQ(outcome(Authorization::notDetermined, false), (Outcome{false, 1, 1}));
}

TEST(NotifierPermission, isWithdrawnByALaterAnswer) {
    FakeNotificationCentre centre;
    Notifier notifier(centre);
    notifier.requestAuthorizationIfNeeded([] {});
    centre.answerFetches(Authorization::authorized);
    notifier.requestAuthorizationIfNeeded([] {});
    centre.answerFetches(Authorization::denied);
    EXPECT_FALSE(notifier.authorized());
    notifier.checkThresholds("codex.7d", "Codex weekly limit", 40, 96);
    EXPECT_THAT(centre.posted, IsEmpty());
}

TEST(NotifierPermission, isNeitherAskedForNorUsedWhereThereAreNoNotifications) {
    FakeNotificationCentre centre(false);
    Notifier notifier(centre);
    EXPECT_FALSE(notifier.bundled());
    bool isDone = false;
    notifier.requestAuthorizationIfNeeded([&] { isDone = true; });
    EXPECT_TRUE(isDone);
    EXPECT_EQ(centre.fetchCount, 0);
    EXPECT_EQ(centre.requestCount, 0);
    notifier.checkThresholds("codex.7d", "Codex weekly limit", 40, 96);
    EXPECT_THAT(centre.posted, IsEmpty());
}

TEST(NotifierPermission, anAnswerThatComesAfterTheNotifierIsDropped) {
    FakeNotificationCentre centre;
    bool isDone = false;
    {
        Notifier notifier(centre);
        notifier.requestAuthorizationIfNeeded([&] { isDone = true; });
    }
    centre.answerFetches(Authorization::notDetermined);
    centre.answerRequests(true);
    EXPECT_FALSE(isDone);
}

}  // namespace
}  // namespace ledgerfern
