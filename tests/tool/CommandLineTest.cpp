#include "CommandLine.h"

#include <gtest/gtest.h>

#include <sstream>

namespace ledgerfern {
namespace {

TEST(CommandLine, printsItsVersion) {
    std::ostringstream out, err;
    EXPECT_EQ(runCommandLine({"--version"}, out, err), 0);
    EXPECT_EQ(out.str(), "1.6.0\n");
    EXPECT_EQ(err.str(), "");
}

}  // namespace
}  // namespace ledgerfern
