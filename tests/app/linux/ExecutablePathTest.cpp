#include "Services/ExecutablePath.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace ledgerfern {
namespace {

TEST(ExecutablePath, isTheRunningProgramsFile) {
    EXPECT_TRUE(executablePath().starts_with('/'));
    EXPECT_TRUE(std::filesystem::equivalent(executablePath(), "/proc/self/exe"));
}

}  // namespace
}  // namespace ledgerfern
