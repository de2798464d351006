#include "app/linux/NotificationsFixture.h"

namespace ledgerfern {
namespace {

using NotificationPermission = test::NotificationsFixture;

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

}  // namespace
}  // namespace ledgerfern
