#include "Analytics/BudgetMath.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledgerfern {
namespace {

using BudgetMath::Reading;

std::vector<double> crossed(double previous, double current) {
    return BudgetMath::crossedThresholds(previous, current, BudgetMath::defaultThresholds);
}

std::optional<std::int64_t> estimate(const std::vector<Reading>& readings) {
    return BudgetMath::estimateWeeklyBudget(readings);
}

TEST(BudgetMath, crossingStartsAboveThePreviousReadingAndEndsOnTheCurrent) {
    EXPECT_EQ(crossed(49, 96), (std::vector<double>{50, 80, 95}));
    EXPECT_EQ(crossed(50, 80), (std::vector<double>{80}));
    EXPECT_EQ(crossed(49, 50), (std::vector<double>{50}));
    EXPECT_EQ(crossed(50, 50), std::vector<double>());
}

TEST(BudgetMath, aFallingReadingCrossesNothing) {
    EXPECT_EQ(crossed(80, 50), std::vector<double>());
}

TEST(BudgetMath, thresholdsKeepTheirOrder) {
    const std::vector<double> thresholds = {90, 10, 50, 10};
    EXPECT_EQ(BudgetMath::crossedThresholds(5, 60, thresholds), (std::vector<double>{10, 50, 10}));
}

TEST(BudgetMath, aReadingThatIsNoNumberCrossesNothing) {
    EXPECT_EQ(crossed(0, std::numeric_limits<double>::quiet_NaN()), std::vector<double>());
}

TEST(BudgetMath, theBudgetIsWhatTheRateBetweenTheTwoNewestReadingsMakesOfTheWholeLimit) {
    EXPECT_EQ(estimate({{10, 2'000'000}, {8, 1'000'000}}), 50'000'000);
    EXPECT_EQ(estimate({{10, 2'000'000}, {8, 1'000'000}, {0, 0}}), 50'000'000);
    EXPECT_EQ(estimate({{3, 100}, {0, 0}}), 3333);  // cut, not rounded
}

TEST(BudgetMath, thereIsNoBudgetWithoutARiseOfMoreThanHalfAPoint) {
    EXPECT_EQ(estimate({{8.5, 2'000'000}, {8, 1'000'000}}), std::nullopt);
    EXPECT_NE(estimate({{8.75, 2'000'000}, {8, 1'000'000}}), std::nullopt);
    EXPECT_EQ(estimate({{7, 2'000'000}, {8, 1'000'000}}), std::nullopt);
}

TEST(BudgetMath, thereIsNoBudgetWithoutARiseOfTokens) {
    EXPECT_EQ(estimate({{10, 1'000'000}, {8, 1'000'000}}), std::nullopt);
    EXPECT_EQ(estimate({{10, 999'999}, {8, 1'000'000}}), std::nullopt);
}

TEST(BudgetMath, thereIsNoBudgetFromFewerThanTwoReadings) {
    EXPECT_EQ(estimate({{10, 2'000'000}}), std::nullopt);
    EXPECT_EQ(estimate({}), std::nullopt);
}

TEST(BudgetMath, thereIsNoBudgetThatDoesNotFit64Bits) {
    EXPECT_EQ(estimate({{10, 9e18}, {8, 0}}), std::nullopt);
    EXPECT_EQ(estimate({{10, std::numeric_limits<double>::infinity()}, {8, 0}}), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
