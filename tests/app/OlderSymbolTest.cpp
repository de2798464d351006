#include "Services/OlderSymbol.h"

#include <gtest/gtest.h>

namespace ledgerfern {

TEST(OlderSymbol, eachGaugeHasACoarserOne) {
    EXPECT_EQ(olderSymbol("gauge.with.dots.needle.0percent"), "gauge.low");
    EXPECT_EQ(olderSymbol("gauge.with.dots.needle.33percent"), "gauge.low");
    EXPECT_EQ(olderSymbol("gauge.with.dots.needle.50percent"), "gauge.medium");
    EXPECT_EQ(olderSymbol("gauge.with.dots.needle.67percent"), "gauge.high");
    EXPECT_EQ(olderSymbol("gauge.with.dots.needle.100percent"), "gauge.high");
}

TEST(OlderSymbol, noOtherNameHasOne) {
    EXPECT_EQ(olderSymbol("gauge.with.needle"), "");
    EXPECT_EQ(olderSymbol(""), "");
}

}  // namespace ledgerfern
