#include "Analytics/LabelNumbers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

using testing::ElementsAre;

std::vector<std::size_t> numbersOf(LabelNumbers& numbers, const std::vector<std::string_view>& labels) {
    std::vector<std::size_t> result;
    numbers.beginSession();
    for (const std::string_view label : labels)
        result.push_back(numbers.numberOf(label));
    return result;
}

TEST(LabelNumbers, countInTheOrderInWhichTheyFirstCome) {
    LabelNumbers numbers;
    EXPECT_THAT(numbersOf(numbers, {"b", "a", "b"}), ElementsAre(0, 1, 0));
    EXPECT_THAT(numbersOf(numbers, {"c", "", "a"}), ElementsAre(2, 3, 1));
    EXPECT_THAT(numbers.texts(), ElementsAre("b", "a", "c", ""));
}

TEST(LabelNumbers, areTheSameWhateverCameBefore) {
    LabelNumbers numbers;
    numbersOf(numbers, {"a", "b", "c"});
    EXPECT_THAT(numbersOf(numbers, {"a", "c", "b"}), ElementsAre(0, 2, 1));
    EXPECT_THAT(numbersOf(numbers, {"a", "b", "c"}), ElementsAre(0, 1, 2));
    EXPECT_THAT(numbersOf(numbers, {"c"}), ElementsAre(2));
    EXPECT_THAT(numbersOf(numbers, {"a", "a", "a"}), ElementsAre(0, 0, 0));
}

}  // namespace
}  // namespace ledgerfern
