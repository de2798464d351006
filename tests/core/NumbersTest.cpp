#include "Foundation/Numbers.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

namespace ledgerfern {
namespace {

TEST(Numbers, anIntegerHasAnOptionalSign) {
    EXPECT_EQ(readInteger("0"), 0);
    EXPECT_EQ(readInteger("+7"), 7);
    EXPECT_EQ(readInteger("-7"), -7);
    EXPECT_EQ(readInteger("-0"), 0);
    EXPECT_EQ(readInteger("007"), 7);
}

TEST(Numbers, anIntegerFits64Bits) {
    EXPECT_EQ(readInteger("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(readInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(readInteger("9223372036854775808"), std::nullopt);
    EXPECT_EQ(readInteger("-9223372036854775809"), std::nullopt);
    EXPECT_EQ(readInteger("1" + std::string(100, '0')), std::nullopt);
    EXPECT_EQ(readInteger(std::string(100, '0') + "1"), 1);
}

TEST(Numbers, whatIsNoIntegerIsAbsent) {
    for (const char* text :
         {"", "+", "-", "+-1", "-+1", "--1", "++1", "1.0", ".5", "5.", "0x1", "1e3", " 1", "1 ", "a"})
        EXPECT_EQ(readInteger(text), std::nullopt) << text;
    EXPECT_EQ(readInteger(std::string_view("1\0", 2)), std::nullopt);
}

TEST(Numbers, aDecimalNumberHasOptionalSignFractionAndExponent) {
    EXPECT_EQ(readDouble("42.5"), 42.5);
    EXPECT_EQ(readDouble("+1"), 1.0);
    EXPECT_EQ(readDouble("-1.5e3"), -1500.0);
    EXPECT_EQ(readDouble("1E+2"), 100.0);
    EXPECT_EQ(readDouble("25e-2"), 0.25);
    EXPECT_EQ(readDouble(".5"), 0.5);
    EXPECT_EQ(readDouble("5."), 5.0);
    EXPECT_EQ(readDouble("1772360430"), 1772360430.0);
}

TEST(Numbers, minusZeroKeepsItsSign) {
    EXPECT_EQ(readDouble("-0"), 0.0);
    EXPECT_TRUE(std::signbit(readDouble("-0").value()));
    EXPECT_EQ(shortestText(-0.0), "-0");
}

TEST(Numbers, whatIsNoFiniteDecimalNumberIsAbsent) {
    for (const char* text :
         {"",   "+",  "-",   ".",   "+-1", "-+1", "inf",   "-inf",  "nan",    "0x1",   "0x1p3",
          "1e", "e1", "1e+", "1,5", " 1",  "1 ",  "1.2.3", "1e400", "-1e400", "1e-400"})
        EXPECT_EQ(readDouble(text), std::nullopt) << text;
}

TEST(Numbers, theExtremesReadBack) {
    for (const double value : {DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN, 0.1, 1.0 / 3, 1e21, 1e-7}) {
        EXPECT_EQ(readDouble(shortestText(value)), value);
        EXPECT_EQ(readDouble(shortestPlainText(value)), value);
    }
    EXPECT_EQ(shortestText(DBL_MAX), "1.7976931348623157e+308");
    EXPECT_EQ(shortestText(DBL_TRUE_MIN), "5e-324");
    EXPECT_EQ(shortestPlainText(DBL_TRUE_MIN), "0." + std::string(323, '0') + "5");
    EXPECT_EQ(shortestPlainText(DBL_MAX).size(), 309u);
}

TEST(Numbers, theShortestTextIsPlainWhereThatIsNoLonger) {
    EXPECT_EQ(shortestText(42.5), "42.5");
    EXPECT_EQ(shortestText(0.1), "0.1");
    EXPECT_EQ(shortestText(100000.0), "1e+05");
    EXPECT_EQ(shortestText(10000.0), "10000");
    EXPECT_EQ(shortestText(1772360430.0), "1772360430");
    EXPECT_EQ(shortestPlainText(1e21), "1" + std::string(21, '0'));
    EXPECT_EQ(shortestPlainText(1e23), "1" + std::string(23, '0'));
    EXPECT_EQ(shortestPlainText(-123.5), "-123.5");
    EXPECT_EQ(shortestPlainText(-0.0), "-0");
    EXPECT_EQ(shortestPlainText(1e-7), "0.0000001");
}

TEST(Numbers, fixedTextRoundsTheExactValue) {
    EXPECT_EQ(fixedText(2.5, 0), "2") << "halves go to even, as printf does";
    EXPECT_EQ(fixedText(3.5, 0), "4");
    EXPECT_EQ(fixedText(1.005, 2), "1.00") << "1.005 is a little less than that";
    EXPECT_EQ(fixedText(-0.04, 1), "-0.0");
    EXPECT_EQ(fixedText(1234.5, 2), "1234.50");
    EXPECT_EQ(fixedText(DBL_MAX, 6).size(), 316u);
    EXPECT_EQ(fixedText(DBL_TRUE_MIN, 3), "0.000");
}

TEST(NumbersDeathTest, aNumberThatIsNotFiniteHasNoText) {
    for (const double value : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL}) {
        EXPECT_DEATH(shortestText(value), "without a decimal text");
        EXPECT_DEATH(shortestPlainText(value), "without a decimal text");
        EXPECT_DEATH(fixedText(value, 2), "without a decimal text");
    }
}

}  // namespace
}  // namespace ledgerfern
