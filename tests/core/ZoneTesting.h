#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cstdlib>

namespace ledgerfern {

/// Makes the expectations of `expectations` in a process of their own whose local zone is `zone`: the zone of
/// a process is fixed at its first use. To be called from a suite named "...DeathTest".
inline void expectInZone(const char* zone, void (*expectations)()) {
    // This style starts the program anew for the one test, where a fork would take over what is fixed here.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [&] {
        setenv("TZ", zone, 1);
        expectations();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "") << "in " << zone;
}

}  // namespace ledgerfern
