#include "Services/UpdateFramework.h"

#include <gtest/gtest.h>

#include <filesystem>

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

TEST(UpdateFramework, knowsTheRunningProgramsFile) {
    EXPECT_TRUE(executablePath().starts_with('/'));
    EXPECT_TRUE(std::filesystem::equivalent(executablePath(), "/proc/self/exe"));
}

}  // namespace
}  // namespace ledgerfern
