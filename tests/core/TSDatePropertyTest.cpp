#include "UsageRecords/TSDate.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <bit>

namespace ledgerfern {
namespace {

using TSDate::parse;

bool sameBits(std::optional<Instant> a, std::optional<Instant> b) {
    return a.has_value() == b.has_value() &&
           (!a || std::bit_cast<std::uint64_t>(*a) == std::bit_cast<std::uint64_t>(*b));
}

rc::Gen<std::string> digits(int length) {
    return rc::gen::container<std::string>(static_cast<std::size_t>(length), rc::gen::inRange('0', ':'));
}

TEST(TSDateProperty, parseGivesTheSameBitsByTheShortWayAndByTheLongOne) {
    EXPECT_TRUE(rc::check("a lower-case z always takes the long way", [] {
        std::string text = *digits(4) + "-" + *digits(2) + "-" + *digits(2) + "T" + *digits(2) + ":" +
                           *digits(2) + ":" + *digits(2);
        if (*rc::gen::arbitrary<bool>()) text += "." + *digits(*rc::gen::inRange(0, 30));
        RC_ASSERT(sameBits(parse(text + "Z"), parse(text + "z")));
    }));
}

TEST(TSDateProperty, parseGivesTheSameForOneWrongCharacterByBothWays) {
    EXPECT_TRUE(rc::check("one character of the usual form replaced", [] {
        std::string text = "2026-03-01T10:20:30.125";
        const std::string others = "0-:T. +x/";
        text[*rc::gen::inRange<std::size_t>(0, text.size())] =
            others[*rc::gen::inRange<std::size_t>(0, others.size())];
        RC_ASSERT(sameBits(parse(text + "Z"), parse(text + "z")));
    }));
}

TEST(TSDateProperty, parseGivesAnInstantInRangeOrNoneForAnyText) {
    EXPECT_TRUE(rc::check("texts of the characters that count", [] {
        const std::string alphabet = "0123456789999--::T+. Zz";
        const auto text = *rc::gen::container<std::string>(rc::gen::elementOf(alphabet));
        const auto instant = parse(text);
        RC_ASSERT(!instant || TSDate::isWithinCalendar(*instant));
    }));
}

TEST(TSDateProperty, parseReadsBackWhatUtcStringWrites) {
    EXPECT_TRUE(rc::check("minutes of the years 1 to 9999", [] {
        const auto minutes = *rc::gen::inRange<std::int64_t>(-62135596800 / 60, 253402300800 / 60);
        const auto instant = static_cast<double>(minutes * 60);
        const std::string text = TSDate::utcString(instant);
        RC_ASSERT(text.size() == 20u && text.ends_with(" UTC"));
        RC_ASSERT(parse(text.substr(0, 16)) == instant);
    }));
}

}  // namespace
}  // namespace ledgerfern
