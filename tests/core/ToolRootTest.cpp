#include "Engine/ToolRoot.h"

#include <gtest/gtest.h>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

class ToolRootTest : public FileFixture {
protected:
    std::vector<std::string> watched() const {
        const EnvironmentVariable home("HOME", folder());
        return ToolRoot::existingWatchPaths(ToolRoot::defaults());
    }
};

TEST_F(ToolRootTest, isWatchedItselfWhereItExists) {
    const std::string codex = makeFolder(".codex/sessions");
    const std::string claude = makeFolder(".claude/projects");
    EXPECT_EQ(watched(), (std::vector<std::string>{codex, claude}));
}

TEST_F(ToolRootTest, isWatchedThroughItsParentUntilItExists) {
    const std::string codex = makeFolder(".codex");
    const std::string claude = makeFolder(".claude/projects");
    EXPECT_EQ(watched(), (std::vector<std::string>{codex, claude}));
}

TEST_F(ToolRootTest, isNotWatchedWhereNeitherExists) {
    const std::string claude = makeFolder(".claude");
    EXPECT_EQ(watched(), std::vector<std::string>{claude});
    std::filesystem::remove(claude);
    EXPECT_EQ(watched(), std::vector<std::string>());
}

}  // namespace
}  // namespace ledgerfern
