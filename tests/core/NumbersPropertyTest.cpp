#include "Foundation/Numbers.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <bit>
#include <cmath>

namespace ledgerfern {
namespace {

TEST(NumbersProperty, everyFiniteDoubleReadsBackWithTheSameBits) {
    EXPECT_TRUE(rc::check("any bits", [] {
        const auto bits = *rc::gen::resize(1000, rc::gen::inRange<std::uint64_t>(0, UINT64_MAX));
        const auto value = std::bit_cast<double>(bits);
        RC_PRE(std::isfinite(value));
        RC_ASSERT(std::bit_cast<std::uint64_t>(readDouble(shortestText(value)).value()) == bits);
        RC_ASSERT(std::bit_cast<std::uint64_t>(readDouble(shortestPlainText(value)).value()) == bits);
    }));
}

TEST(NumbersProperty, everyIntegerReadsBack) {
    EXPECT_TRUE(rc::check(
        "any 64 bits", [](std::int64_t value) { RC_ASSERT(readInteger(std::to_string(value)) == value); }));
}

}  // namespace
}  // namespace ledgerfern
