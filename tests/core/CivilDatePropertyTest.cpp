#include "UsageRecords/CivilDate.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace ledgerfern {
namespace {

std::int64_t number(std::int64_t year, std::int64_t month, std::int64_t day) {
    return static_cast<std::int64_t>(dayNumber(year, month, day));
}

TEST(CivilDateProperty, aDayIsTheDayThatItsNumberNames) {
    EXPECT_TRUE(rc::check("numbers and dates are inverse", [] {
        const auto wide = *rc::gen::inRange<std::int64_t>(-1'000'000'000'000, 1'000'000'000'000);
        const auto near = *rc::gen::inRange<std::int64_t>(-1'000'000, 1'000'000);
        for (const std::int64_t day : {wide, near}) {
            const CivilDate date = civilDate(day);
            RC_ASSERT(number(date.year, date.month, date.day) == day);
            RC_ASSERT(date.month >= 1u && date.month <= 12u && date.day >= 1u && date.day <= 31u);
        }
    }));
}

}  // namespace
}  // namespace ledgerfern
