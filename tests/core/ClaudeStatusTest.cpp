#include "ClaudeLimits/ClaudeStatus.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

constexpr std::int64_t reset = 1'800'000'000;

std::optional<ClaudeStatus> parsed(const std::string& limits) {
    return ClaudeStatus::parse(R"({"model":{"display_name":"Opus"},"rate_limits":)" + limits + "}", 5);
}

std::optional<RateLimitInfo> fiveHour(const std::string& window) {
    const auto status = parsed(R"({"five_hour":)" + window + R"(,"seven_day":{"used_percentage":1}})");
    return status ? status->fiveHour : std::nullopt;
}

RateLimitInfo info(double used, std::int64_t minutes, std::optional<std::int64_t> resetsAt) {
    return {used, minutes, resetsAt, std::nullopt};
}

TEST(ClaudeStatus, readsBothWindows) {
    const auto status = parsed(
        R"({"five_hour":{"used_percentage":42.5,"resets_at":1800000000},"seven_day":{"used_percentage":7,"resets_at":1800500000}})");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->fiveHour, info(42.5, 300, 1'800'000'000));
    EXPECT_EQ(status->sevenDay, info(7, 10080, 1'800'500'000));
    EXPECT_EQ(status->observedAt, 5);
}

TEST(ClaudeStatus, oneWindowIsAReading) {
    const auto five = parsed(R"({"five_hour":{"used_percentage":1},"seven_day":{"used_percentage":"2"}})");
    ASSERT_TRUE(five);
    EXPECT_EQ(five->fiveHour, info(1, 300, std::nullopt));
    EXPECT_EQ(five->sevenDay, std::nullopt);
    const auto seven = parsed(R"({"seven_day":{"used_percentage":0}})");
    ASSERT_TRUE(seven);
    EXPECT_EQ(seven->sevenDay, info(0, 10080, std::nullopt));
}

TEST(ClaudeStatus, withoutAWindowThereIsNoReading) {
    for (const char* bytes :
         {"", "{", "[]", "1", "{}", R"({"rate_limits":[]})", R"({"rate_limits":{}})",
          R"({"rate_limits":null})", R"({"rate_limits":{"five_hour":1,"seven_day":[]}})",
          R"({"rate_limits":{"five_hour":{}}})", R"({"rate_limits":{"five_hour":{"used_percentage":1}})"})
        EXPECT_EQ(ClaudeStatus::parse(bytes, 5), std::nullopt) << bytes;
}

TEST(ClaudeStatus, aPercentageIsANumber) {
    for (const char* window :
         {R"({"resets_at":1})", R"({"used_percentage":"5"})", R"({"used_percentage":true})",
          R"({"used_percentage":null})", R"({"used_percentage":1e19})", R"({"used_percentage":-1e300})",
          R"({"used_percentage":1e999})", "[]", "null", "\"\""})
        EXPECT_EQ(fiveHour(window), std::nullopt) << window;
    EXPECT_EQ(fiveHour(R"({"used_percentage":-3.5})"), info(-3.5, 300, std::nullopt));
    EXPECT_EQ(fiveHour(R"({"used_percentage":250})"), info(250, 300, std::nullopt));
    EXPECT_EQ(fiveHour(R"({"used_percentage":1,"used_percentage":2})"), info(2, 300, std::nullopt));
}

std::optional<std::int64_t> resetOf(const std::string& value) {
    const auto window = fiveHour(R"({"used_percentage":1,"resets_at":)" + value + "}");
    EXPECT_TRUE(window) << value;
    return window ? window->resetsAt : std::nullopt;
}

TEST(ClaudeStatus, aResetIsInSecondsOrMilliseconds) {
    EXPECT_EQ(resetOf("1800000000"), reset);
    EXPECT_EQ(resetOf("1800000000000"), reset);
    EXPECT_EQ(resetOf("1e12"), 1'000'000'000'000);
    EXPECT_EQ(resetOf("1000000000001"), 1'000'000'000);
    EXPECT_EQ(resetOf("1800000000999.9"), reset);
    EXPECT_EQ(resetOf("17.9"), 17);
    EXPECT_EQ(resetOf("-17.9"), -17);
}

TEST(ClaudeStatus, aResetThatCannotBeReadIsAbsent) {
    for (const char* value : {"\"1800000000\"", "true", "null", "{}", "-1e19", "1e30", "1e999"})
        EXPECT_EQ(resetOf(value), std::nullopt) << value;
}

ClaudeStatus statusResettingAt(std::int64_t five, std::int64_t seven) {
    return {info(40, 300, five), info(60, 10080, seven), 5};
}

TEST(ClaudeStatus, aWindowStandsUntilItsReset) {
    const ClaudeStatus status = statusResettingAt(reset, reset);
    EXPECT_EQ(status.current(static_cast<double>(reset) - 0.001), status);
    const ClaudeStatus never{info(40, 300, std::nullopt), std::nullopt, 5};
    EXPECT_EQ(never.current(1e11), never);
}

TEST(ClaudeStatus, aWindowThatHasResetIsEmptyUntilItsNextBoundary) {
    const ClaudeStatus status = statusResettingAt(reset, reset);
    const ClaudeStatus atOnce = status.current(static_cast<double>(reset));
    EXPECT_EQ(atOnce.fiveHour, info(0, 300, reset + 18000));
    EXPECT_EQ(atOnce.sevenDay, info(0, 10080, reset + 604800));
    EXPECT_EQ(atOnce.observedAt, 5);
    const ClaudeStatus later = status.current(static_cast<double>(reset) + 3.5 * 18000);
    EXPECT_EQ(later.fiveHour, info(0, 300, reset + 4 * 18000));
    EXPECT_EQ(later.sevenDay, info(0, 10080, reset + 604800));
}

TEST(ClaudeStatus, aWindowOfUnknownLengthKeepsItsReset) {
    ClaudeStatus status = statusResettingAt(reset, reset);
    status.fiveHour->windowMinutes = std::nullopt;
    status.fiveHour->planType = "max";
    const ClaudeStatus now = status.current(static_cast<double>(reset) + 1);
    EXPECT_EQ(now.fiveHour, (RateLimitInfo{0.0, std::nullopt, reset, "max"}));
}

TEST(ClaudeStatus, resetsAtTheEndsOf64BitsLeaveNothing) {
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    const ClaudeStatus old = statusResettingAt(least, least).current(1'800'000'000);
    EXPECT_GT(*old.fiveHour->resetsAt, 1'800'000'000);
    EXPECT_LE(*old.fiveHour->resetsAt, 1'800'018'000);
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const ClaudeStatus never = statusResettingAt(most, most);
    EXPECT_EQ(never.current(1'800'000'000), never);
}

using ClaudeStatusFileTest = FileFixture;

TEST_F(ClaudeStatusFileTest, loadsTheFileAsOfItsModification) {
    write("claude-status.json", R"({"rate_limits":{"five_hour":{"used_percentage":12}}})");
    setModified("claude-status.json", 1'700'000'000, 250'000'000);
    const auto status = ClaudeStatus::load(folder(), 77);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->fiveHour, info(12, 300, std::nullopt));
    EXPECT_EQ(status->observedAt, 1'700'000'000.25);
}

TEST_F(ClaudeStatusFileTest, aFileThatIsNotThereIsNoReading) {
    EXPECT_EQ(ClaudeStatus::load(folder(), 77), std::nullopt);
    write("claude-status.json", "{");
    EXPECT_EQ(ClaudeStatus::load(folder(), 77), std::nullopt);
    EXPECT_EQ(ClaudeStatus::load(folder() + "/none", 77), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
