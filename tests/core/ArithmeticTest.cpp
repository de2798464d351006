#include "Foundation/Arithmetic.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledgerfern {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(ArithmeticDeathTest, anOwnCounterThatLeaves64BitsIsAFault) {
    EXPECT_EQ(checkedAdd(most - 1, 1), most);
    EXPECT_EQ(checkedAdd(least, most), -1);
    EXPECT_DEATH(checkedAdd(most, 1), "a counter left 64 bits");
    EXPECT_DEATH(checkedAdd(least, -1), "a counter left 64 bits");
}

TEST(Arithmetic, aForeignNumberIsAddedOnlyWhereTheSumFits) {
    std::int64_t sum = most - 1;
    addFromOutside(sum, 2);
    EXPECT_EQ(sum, most - 1);
    addFromOutside(sum, 1);
    EXPECT_EQ(sum, most);
    addFromOutside(sum, least);
    EXPECT_EQ(sum, -1);
    addFromOutside(sum, least);
    EXPECT_EQ(sum, -1);
}

TEST(Arithmetic, aDifferenceOutside64BitsIsAbsent) {
    EXPECT_EQ(differenceWithin64Bits(5, 7), -2);
    EXPECT_EQ(differenceWithin64Bits(-1, least), most);
    EXPECT_EQ(differenceWithin64Bits(0, least), std::nullopt);
    EXPECT_EQ(differenceWithin64Bits(least, 1), std::nullopt);
}

TEST(Arithmetic, aProductOutside64BitsIsAbsent) {
    EXPECT_EQ(productWithin64Bits(-3, 7), -21);
    EXPECT_EQ(productWithin64Bits(most, 1), most);
    EXPECT_EQ(productWithin64Bits(most / 2, 3), std::nullopt);
    EXPECT_EQ(productWithin64Bits(least, -1), std::nullopt);
}

TEST(Arithmetic, aFractionIsCutTowardZero) {
    EXPECT_EQ(truncated(2.9), 2);
    EXPECT_EQ(truncated(-2.9), -2);
    EXPECT_EQ(truncated(-0.0), 0);
}

TEST(Arithmetic, halvesAreRoundedAwayFromZero) {
    EXPECT_EQ(rounded(2.5), 3);
    EXPECT_EQ(rounded(-2.5), -3);
    EXPECT_EQ(rounded(0.49999999999999994), 0);
}

TEST(Arithmetic, aDoubleOutside64BitsIsAbsent) {
    EXPECT_EQ(truncated(-9223372036854775808.0), least);
    EXPECT_EQ(truncated(9223372036854774784.0), most - 1023) << "the last double below 2^63";
    for (const double value :
         {9223372036854775808.0, -9223372036854777856.0, 1e300, infinity, -infinity, notANumber}) {
        EXPECT_FALSE(fits64Bits(value)) << value;
        EXPECT_EQ(truncated(value), std::nullopt) << value;
        EXPECT_EQ(rounded(value), std::nullopt) << value;
    }
}

}  // namespace
}  // namespace ledgerfern
