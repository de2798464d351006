#include "Analytics/Breakdown.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

TEST(Breakdown, isListedInItsOrderWithItsNames) {
    ASSERT_EQ(allBreakdowns.size(), 2u);
    EXPECT_EQ(rawValue(allBreakdowns[0]), "By type");
    EXPECT_EQ(rawValue(allBreakdowns[1]), "By model");
}

TEST(Breakdown, readsItsNamesAndNothingElse) {
    EXPECT_EQ(breakdown("By type"), Breakdown::kind);
    EXPECT_EQ(breakdown("By model"), Breakdown::model);
    EXPECT_EQ(breakdown("kind"), std::nullopt);
    EXPECT_EQ(breakdown("by type"), std::nullopt);
    EXPECT_EQ(breakdown(""), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
