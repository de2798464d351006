#include "Services/UpdateFramework.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

TEST(UpdateFramework, canNotCheckAndNeverAlerts) {
    int alerts = 0;
    for (const bool starts : {false, true}) {
        const auto framework = platformUpdateFramework(starts, [&] { ++alerts; });
        EXPECT_FALSE(framework->canCheckForUpdates());
        framework->checkForUpdates();
    }
    EXPECT_EQ(alerts, 0);
}

}  // namespace
}  // namespace ledgerfern
