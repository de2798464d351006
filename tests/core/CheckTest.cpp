#include "Foundation/Check.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

TEST(CheckDeathTest, aFaultEndsTheProcessWithItsReasonAndPlace) {
    EXPECT_DEATH(fault("the reason"), "ledgerfern: the reason \\(.*CheckTest.cpp:[0-9]+\\)");
    EXPECT_DEATH(check(false, "another"), "another");
    check(true, "not this one");
}

}  // namespace
}  // namespace ledgerfern
