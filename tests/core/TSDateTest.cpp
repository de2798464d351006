#include "UsageRecords/TSDate.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledgerfern {
namespace {

using TSDate::parse;

TEST(TSDate, parseReadsTheUsualForm) {
    EXPECT_EQ(parse("2026-03-01T10:20:30Z"), 1772360430.0);
    EXPECT_EQ(parse("1970-01-01T00:00:00Z"), 0.0);
    EXPECT_EQ(parse("1969-12-31T23:59:59.5Z"), -0.5);
    EXPECT_EQ(parse("2000-02-29T12:00:00.000Z"), 951825600.0);
}

TEST(TSDate, parseReadsALowerCaseZButNoLowerCaseT) {
    EXPECT_EQ(parse("2026-03-01T10:20:30z"), 1772360430.0);
    EXPECT_EQ(parse("2026-03-01t10:20:30Z"), std::nullopt);
}

TEST(TSDate, parseTakesABlankForSeparatorWhereThereIsNoT) {
    EXPECT_EQ(parse("2026-03-01 10:20"), 1772360400.0);
    EXPECT_EQ(parse("2026-03-01 10:20:30Z"), 1772360430.0);
    EXPECT_EQ(parse("2026-03-01 T10:20"), std::nullopt) << "the T separates, and \"01 \" is no number";
}

TEST(TSDate, parseSubtractsAPlusOffset) {
    EXPECT_EQ(parse("2026-03-01T10:20:30.5+02:00"), 1772353230.5);
    EXPECT_EQ(parse("2026-03-01T10:20:30+05:45"), 1772360430.0 - 20700.0);
    EXPECT_EQ(parse("2026-03-01T10:20:30+-02:00"), 1772360430.0 + 7200.0) << "a sign is read";
    EXPECT_EQ(parse("2026-03-01T10:20:30+:02::30:"), 1772360430.0 - 9000.0) << "empty pieces are dropped";
}

TEST(TSDate, parseCutsAnOffsetThatDoesNotReadAndIgnoresIt) {
    for (const char* offset : {"+0530", "+", "+02", "+a:00", "+02:b", "+01:02:03", "+9223372036854775808:00"})
        EXPECT_EQ(parse(std::string("2026-03-01T10:20:30") + offset), 1772360430.0) << offset;
}

TEST(TSDate, parseSearchesTheLastPlus) {
    EXPECT_EQ(parse("2026-03-01T+10:+20:+30+01:00"), 1772356830.0);
    EXPECT_EQ(parse("2026-03-01T10:20:30+01:00Z"), 1772360400.0) << "behind a Z no offset is searched";
}

TEST(TSDate, parseLosesSecondsAndOffsetAtAMinus) {
    EXPECT_EQ(parse("2026-03-01T10:20:30-05:00"), 1772360400.0);
}

TEST(TSDate, parseTakesSecondsThatDoNotReadAsZero) {
    EXPECT_EQ(parse("2026-03-01T10:20:xx"), 1772360400.0);
    EXPECT_EQ(parse("2026-03-01T10:20:9223372036854775808"), 1772360400.0);
    EXPECT_EQ(parse("2026-03-01T10:20:xx.25"), 1772360400.25);
    EXPECT_EQ(parse("2026-03-01T10:20:30:99:xx"), 1772360430.0) << "pieces beyond the third are ignored";
}

TEST(TSDate, parseSumsTheFractionDigitByDigit) {
    double expected = 0.0;
    double place = 0.1;
    for (const int digit : {1, 2, 3, 4, 5, 6}) {
        const double part = digit * place;
        expected += part;
        place *= 0.1;
    }
    EXPECT_EQ(parse("2026-03-01T10:20:30.123456Z"), 1772360430.0 + expected);
    EXPECT_EQ(parse("1970-01-01T00:00:00.3Z"), 3 * 0.1) << "not the nearest double to 0.3";
    EXPECT_EQ(parse("2026-03-01T10:20:30.Z"), 1772360430.0);
    EXPECT_EQ(parse("2026-03-01T10:20:30.25xyz.75Z"), 1772360430.25);
    EXPECT_EQ(parse("2026-03-01T10:20.5"), 1772360400.5) << "a fraction of the minute's seconds";
    EXPECT_EQ(parse("2026-03-01T10:20:30." + std::string(5000, '0') + "Z"), 1772360430.0);
}

TEST(TSDate, parseRefusesWhatLacksAPiece) {
    for (const char* text : {"2026-03-01", "2026-03T10:20:30Z", "T10:20", "2026-03-01T10", "", "Z", "T",
                             "+02:00", "2026-03-01T", "2026-03-01-05T10:20", "2026-03-01T.5:20", "no date"})
        EXPECT_EQ(parse(text), std::nullopt) << text;
    EXPECT_EQ(parse(std::nullopt), std::nullopt);
}

TEST(TSDate, parseRefusesWhatIsNoNumber) {
    for (const char* text :
         {"20x6-03-01T10:20:30Z", "2026-xx-01T10:20:30Z", "2026-03- 1T10:20:30Z", "2026-03-01T1a:20:30Z",
          "2026-03-01T10:2x:30Z", "2026-03-01T10:+-20:30Z", "9223372036854775808-03-01T10:20:30Z"})
        EXPECT_EQ(parse(text), std::nullopt) << text;
}

TEST(TSDate, parseDropsEmptyPieces) {
    EXPECT_EQ(parse("--2026---03-01-T::10::20:30:Z"), 1772360430.0);
}

TEST(TSDate, parseReadsSignsAndAnyNumberOfDigits) {
    EXPECT_EQ(parse("+2026-+3-+1T+10:+20:+30Z"), 1772360430.0);
    EXPECT_EQ(parse("002026-3-1T10:-20:30Z"), 1772360430.0 - 2400.0);
}

TEST(TSDate, parseCarriesComponentsOutOfRange) {
    EXPECT_EQ(parse("2026-02-30T00:00:00Z"), parse("2026-03-02T00:00:00Z"));
    EXPECT_EQ(parse("2026-04-31T00:00:00Z"), parse("2026-05-01T00:00:00Z"));
    EXPECT_EQ(parse("2026-13-01T00:00:00Z"), parse("2027-01-01T00:00:00Z"));
    EXPECT_EQ(parse("2026-00-01T00:00:00Z"), parse("2025-12-01T00:00:00Z"));
    EXPECT_EQ(parse("2026-01-00T00:00:00Z"), parse("2025-12-31T00:00:00Z"));
    EXPECT_EQ(parse("2026-03-01T10:75:00Z"), parse("2026-03-01T11:15:00Z"));
    EXPECT_EQ(parse("2026-03-01T25:00:61Z"), parse("2026-03-02T01:01:01Z"));
    EXPECT_EQ(parse("2026-25-01T00:00:00Z"), parse("2028-01-01T00:00:00Z"));
}

TEST(TSDate, parseJudgesTheResultNotThePieces) {
    EXPECT_EQ(parse("0001-01-01T00:00:00Z"), -62135596800.0);
    EXPECT_EQ(parse("9999-12-31T23:59:59Z"), 253402300799.0);
    EXPECT_EQ(parse("0000-12-31T23:59:59Z"), std::nullopt);
    EXPECT_EQ(parse("10000-01-01T00:00:00Z"), std::nullopt);
    EXPECT_EQ(parse("9999-12-31T24:00:00Z"), std::nullopt) << "carried out of range";
    EXPECT_EQ(parse("0001-01-01T00:00:00+00:01"), std::nullopt) << "moved out of range by the offset";
    EXPECT_EQ(parse("0000-12-32T00:00:00Z"), -62135596800.0) << "carried into range";
    EXPECT_EQ(parse("10000-01-01T00:00:00+00:01"), 253402300740.0) << "moved into range by the offset";
    EXPECT_EQ(parse("9999-12-31T23:59:59.9999999999Z"), std::nullopt)
        << "the nearest double is the year 10000";
}

TEST(TSDate, parseSurvivesTheLargestPieces) {
    const std::string most = "9223372036854775807";
    const std::string least = "-9223372036854775808";
    EXPECT_EQ(parse(most + "-" + most + "-" + most + "T" + most + ":" + most + ":" + most + "Z"),
              std::nullopt);
    EXPECT_EQ(parse("2026-03-01T" + least + ":" + least + ":" + least + "Z"), std::nullopt);
    EXPECT_EQ(parse("2026-03-01T10:20:30+" + most + ":" + most), std::nullopt);
    EXPECT_EQ(parse("2026-03-01T10:20:30+" + least + ":" + least), std::nullopt);
    // A million days forth and back.
    EXPECT_EQ(parse("2026-03-1000001T-23999990:20:30Z"), 1772360430.0);
}

TEST(TSDate, utcStringDropsSeconds) {
    EXPECT_EQ(TSDate::utcString(1772360430.0), "2026-03-01 10:20 UTC");
    EXPECT_EQ(TSDate::utcString(1772360459.999), "2026-03-01 10:20 UTC");
    EXPECT_EQ(TSDate::utcString(0.0), "1970-01-01 00:00 UTC");
    EXPECT_EQ(TSDate::utcString(-0.5), "1969-12-31 23:59 UTC");
    EXPECT_EQ(TSDate::utcString(-62135596800.0), "0001-01-01 00:00 UTC");
    EXPECT_EQ(TSDate::utcString(253402300799.0), "9999-12-31 23:59 UTC");
}

TEST(TSDate, theCalendarHasTheYears1To9999) {
    EXPECT_TRUE(TSDate::isWithinCalendar(-62135596800.0));
    EXPECT_FALSE(TSDate::isWithinCalendar(-62135596800.5));
    EXPECT_TRUE(TSDate::isWithinCalendar(253402300799.5));
    EXPECT_FALSE(TSDate::isWithinCalendar(253402300800.0));
    EXPECT_FALSE(TSDate::isWithinCalendar(std::numeric_limits<double>::quiet_NaN()));
}

}  // namespace
}  // namespace ledgerfern
