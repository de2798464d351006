#include "Foundation/UnicodeText.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace ledgerfern {
namespace {

const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";  // man, woman, girl, joined
const std::string germany = "\U0001F1E9\U0001F1EA";
const std::string france = "\U0001F1EB\U0001F1F7";
const std::string combinedE = "e\u0301";
const std::string hangul = "\u1112\u1161\u11AB";  // conjoining letters of one syllable
const std::string fffd = "\uFFFD";

TEST(UnicodeText, countsCharactersAsPeopleSeeThem) {
    EXPECT_EQ(characterCount(""), 0u);
    EXPECT_EQ(characterCount("abc"), 3u);
    EXPECT_EQ(characterCount(family), 1u);
    EXPECT_EQ(characterCount(germany), 1u);
    EXPECT_EQ(characterCount(germany + france), 2u);
    EXPECT_EQ(characterCount(germany + france + "\U0001F1E9"), 3u);
    EXPECT_EQ(characterCount(combinedE), 1u);
    EXPECT_EQ(characterCount(hangul), 1u);
    EXPECT_EQ(characterCount("\uD55C\uAE00"), 2u);
    EXPECT_EQ(characterCount("\U0001F44D\U0001F3FD"), 1u) << "a thumb with a skin tone";
    EXPECT_EQ(characterCount(family + family), 2u);
    EXPECT_EQ(characterCount("a" + combinedE + "b"), 3u);
    EXPECT_EQ(characterCount("z\u0335\u0321\u0353"), 1u) << "several marks on one letter";
}

TEST(UnicodeText, countsACarriageReturnAndItsLineFeedAsOneCharacter) {
    EXPECT_EQ(characterCount("\r\n"), 1u);
    EXPECT_EQ(characterCount("a\r\nb"), 3u);
    EXPECT_EQ(characterCount("\n\r"), 2u);
    EXPECT_EQ(characterCount("\r\r\n\n"), 3u);
    EXPECT_EQ(characterCount("\r\n\u0301"), 2u) << "a mark doesn't join a control character";
    EXPECT_EQ(firstCharacters("a\r\nb", 2), "a\r\n");
}

TEST(UnicodeText, takesEachBadByteForOneCharacter) {
    EXPECT_EQ(characterCount("\xFF\xFE"), 2u);
    EXPECT_EQ(characterCount("a\xE2\x82"), 3u) << "a sequence that was cut";
    EXPECT_EQ(characterCount("\xC0\x80"), 2u) << "an overlong form";
    EXPECT_EQ(characterCount("\xED\xA0\x80"), 3u) << "a surrogate";
    EXPECT_EQ(firstCharacters("\xE2\x82z", 2), "\xE2\x82");
    EXPECT_EQ(withoutLastCharacters("a\xFF", 1), "a");
}

TEST(UnicodeText, repairsEachBadByte) {
    EXPECT_EQ(repairedUtf8("plain"), "plain");
    EXPECT_EQ(repairedUtf8("\u00FC\u20AC" + family), "\u00FC\u20AC" + family);
    EXPECT_EQ(repairedUtf8("a\xFFz"), "a" + fffd + "z");
    EXPECT_EQ(repairedUtf8("\xE2\x82"), fffd + fffd);
    EXPECT_EQ(repairedUtf8("\xE2\x82\xE2\x82\xAC"), fffd + fffd + "\u20AC");
    EXPECT_EQ(repairedUtf8("\xC0\x80"), fffd + fffd);
    EXPECT_EQ(repairedUtf8("\xED\xA0\x80"), fffd + fffd + fffd);
    EXPECT_EQ(repairedUtf8("\xF4\x90\x80\x80"), fffd + fffd + fffd + fffd) << "past U+10FFFF";
    EXPECT_EQ(repairedUtf8("\xF0\x9F\x98"), fffd + fffd + fffd);
    EXPECT_EQ(repairedUtf8("\x80"), fffd);
    EXPECT_EQ(repairedUtf8(std::string_view("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(repairedUtf8("\uFFFE\uFFFF"), "\uFFFE\uFFFF") << "non-characters are valid";
}

TEST(UnicodeText, tellsValidUtf8) {
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8("a\u00FC\u20AC\U0001F600\U0010FFFF"));
    EXPECT_FALSE(isValidUtf8("\xC3"));
    EXPECT_FALSE(isValidUtf8("\xED\xBF\xBF"));
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));
    EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF"));
}

TEST(UnicodeText, cutsAtCharacters) {
    const std::string text = "a" + family + combinedE + germany + "z";
    EXPECT_EQ(firstCharacters(text, 0), "");
    EXPECT_EQ(firstCharacters(text, 2), "a" + family);
    EXPECT_EQ(firstCharacters(text, 3), "a" + family + combinedE);
    EXPECT_EQ(firstCharacters(text, 99), text);
    EXPECT_EQ(withoutFirstCharacters(text, 2), combinedE + germany + "z");
    EXPECT_EQ(withoutFirstCharacters(text, 0), text);
    EXPECT_EQ(withoutFirstCharacters(text, 99), "");
    EXPECT_EQ(withoutLastCharacters(text, 2), "a" + family + combinedE);
    EXPECT_EQ(withoutLastCharacters(text, 0), text);
    EXPECT_EQ(withoutLastCharacters(text, 5), "");
    EXPECT_EQ(withoutLastCharacters(text, 99), "");
}

TEST(UnicodeText, cutsNoCharacterInTwo) {
    EXPECT_EQ(firstCharacters("ab\u0301c", 1), "a");
    EXPECT_EQ(firstCharacters("ab\u0301c", 2), "ab\u0301");
    EXPECT_EQ(firstCharacters("a\r\nbc", 2), "a\r\n");
    EXPECT_EQ(firstCharacters("abc", 3), "abc");
    EXPECT_EQ(firstCharacters("abc", std::string::npos), "abc");
}

TEST(UnicodeText, trimsUnicodesWhiteSpaceOnly) {
    EXPECT_EQ(trimmedWhiteSpace(""), "");
    EXPECT_EQ(trimmedWhiteSpace(" \t\r\n"), "");
    EXPECT_EQ(trimmedWhiteSpace(" a b\n"), "a b");
    const std::vector<std::string> spaces = {"\t",     "\n",     "\v",     "\f",     "\r",     " ",
                                             "\u0085", "\u00A0", "\u1680", "\u2000", "\u2005", "\u200A",
                                             "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};
    std::string all;
    for (const std::string& space : spaces) {
        EXPECT_EQ(trimmedWhiteSpace(space + "x" + space), "x");
        all += space;
    }
    EXPECT_EQ(trimmedWhiteSpace(all + "x" + all + "y" + all), "x" + all + "y");
    for (const std::string other : {"\u200B", "\uFEFF", "\u180E", "\u200C", "\x1C", "\x08", "\u2060"})
        EXPECT_EQ(trimmedWhiteSpace(other + " "), other);
}

TEST(UnicodeText, trimsNothingOffBadBytes) {
    EXPECT_EQ(trimmedWhiteSpace(" \x85 "), "\x85");
    EXPECT_EQ(trimmedWhiteSpace("\xA0"), "\xA0");
    EXPECT_EQ(trimmedWhiteSpace("\xE2\x80 "), "\xE2\x80");
    EXPECT_EQ(trimmedWhiteSpace("\xF0\xE3\x80\x80"), "\xF0");
}

TEST(UnicodeText, lowersCodePointByCodePoint) {
    EXPECT_EQ(lowercased("ABC xyz 1"), "abc xyz 1");
    EXPECT_EQ(lowercased("\u00C4\u00D6\u1E9E"), "\u00E4\u00F6\u00DF");
    EXPECT_EQ(lowercased("\u0130"), "i");
    EXPECT_EQ(lowercased("I"), "i") << "in every locale";
    EXPECT_EQ(lowercased("\u039F\u0394\u039F\u03A3"), "\u03BF\u03B4\u03BF\u03C3");
    EXPECT_EQ(lowercased("\u03C2"), "\u03C2");
    EXPECT_EQ(lowercased("\u0416\u10A0\U00010400"), "\u0436\u2D00\U00010428");
    EXPECT_EQ(lowercased("\u01C5"), "\u01C6") << "a title-case letter";
    EXPECT_EQ(lowercased("A\xFFZ"), "a" + fffd + "z");
    EXPECT_EQ(lowercased("@AZ[`az{ \u00C4 @AZ[`az{"), "@az[`az{ \u00E4 @az[`az{");
    EXPECT_EQ(lowercased(""), "");
    EXPECT_EQ(lowercased(family), family);
}

TEST(UnicodeText, mapsOrLeavesOutEachCodePoint) {
    const auto upToNext = [](char32_t c) -> std::optional<char32_t> {
        if (c == U'-') return std::nullopt;
        return c == U'\uFFFD' ? c : c + 1;
    };
    EXPECT_EQ(mappedCodePoints("", upToNext), "");
    EXPECT_EQ(mappedCodePoints("a-\u00FC-\U0001F600", upToNext), "b\u00FD\U0001F601");
    EXPECT_EQ(mappedCodePoints("---", upToNext), "");
    EXPECT_EQ(mappedCodePoints("\x7F", upToNext), "\u0080") << "the length in bytes may change";
    EXPECT_EQ(mappedCodePoints("a\xFF-\xE2\x82", upToNext), "b" + fffd + fffd + fffd);
}

TEST(UnicodeText, tellsWhatRunsFromRightToLeft) {
    for (const std::string plain :
         {"", "abc 123", "\u6F22\u5B57", "\U0001F600", "\u0301", "\xFF\xFE", "\u20AC", "\u0E01"})
        EXPECT_FALSE(runsRightToLeft(plain)) << plain;
    for (const std::string other : {"\u05D0", "\u0634", "\u0660", "\u0712", "\u07C1", "\uFB2A", "\uFEDF",
                                    "\U00010900", "\U0001E922", "\U00010D30", "abc \u05E9 def"})
        EXPECT_TRUE(runsRightToLeft(other)) << other;
}

TEST(UnicodeText, measuresColumns) {
    EXPECT_EQ(displayWidth("abc"), 3u);
    EXPECT_EQ(displayWidth("\u6F22\u5B57"), 4u);
    EXPECT_EQ(displayWidth("\uD55C"), 2u);
    EXPECT_EQ(displayWidth(hangul), 2u);
    EXPECT_EQ(displayWidth("\U0001F600"), 2u);
    EXPECT_EQ(displayWidth(family), 2u);
    EXPECT_EQ(displayWidth(germany), 2u);
    EXPECT_EQ(displayWidth("\u2764\uFE0F"), 2u) << "a sign as emoji";
    EXPECT_EQ(displayWidth("\u2764"), 1u) << "the same sign as text";
    EXPECT_EQ(displayWidth("1\uFE0F\u20E3"), 2u) << "a keycap";
    EXPECT_EQ(displayWidth(combinedE), 1u);
    EXPECT_EQ(displayWidth("\u05E9\u05DC\u05D5\u05DD"), 4u) << "right to left";
    EXPECT_EQ(displayWidth("\u0633\u064E\u0644"), 2u) << "with a vowel mark";
    EXPECT_EQ(displayWidth("\u200B\u0301"), 0u);
    EXPECT_EQ(displayWidth("\a\t\r\n\x7F"), 0u);
    EXPECT_EQ(displayWidth("\uFF21"), 2u) << "a full-width letter";
    EXPECT_EQ(displayWidth("\xFF"), displayWidth(fffd));
    EXPECT_EQ(displayWidth("\xFF"), 1u);
}

TEST(UnicodeText, fitsWholeCharactersIntoColumns) {
    EXPECT_EQ(fittingPrefix("abc", 2), "ab");
    EXPECT_EQ(fittingPrefix("abc", 3), "abc");
    EXPECT_EQ(fittingPrefix("abc", 0), "");
    EXPECT_EQ(fittingPrefix("\u6F22\u5B57", 3), "\u6F22");
    EXPECT_EQ(fittingPrefix("a" + family + "b", 2), "a");
    EXPECT_EQ(fittingPrefix("a" + family + "b", 3), "a" + family);
    EXPECT_EQ(fittingPrefix(combinedE + "x", 1), combinedE);
    EXPECT_EQ(fittingPrefix("a\u200Bb", 1), "a\u200B") << "what needs no column still fits";
}

/// A text of pieces that meet each other in every way, some of them bad.
std::string seededText(std::mt19937& random) {
    static const std::vector<std::string> pieces = {"a",     " ",          "\r",     "\n",         family,
                                                    germany, "\U0001F1E9", "\u200D", "\u0301",     hangul,
                                                    "\xFF",  "\xE2\x82",   "\u00A0", "\U0001F3FD", "\u20AC",
                                                    "\x80",  "\u0600",     "\uFE0F", "\U0001F469"};
    std::string text;
    for (auto count = random() % 12; count > 0; --count)
        text += pieces[random() % pieces.size()];
    return text;
}

TEST(UnicodeText, agreesWithItselfOnAnyBytes) {
    std::mt19937 random(20260301);
    for (int i = 0; i < 20'000; ++i) {
        const std::string text = seededText(random);
        SCOPED_TRACE(testing::PrintToString(text));
        const std::string repaired = repairedUtf8(text);
        ASSERT_TRUE(isValidUtf8(repaired));
        ASSERT_EQ(repaired == text, isValidUtf8(text));
        const std::size_t count = characterCount(text);
        ASSERT_EQ(characterCount(repaired), count);
        ASSERT_EQ(displayWidth(repaired), displayWidth(text));
        ASSERT_EQ(lowercased(repaired), lowercased(text));
        ASSERT_EQ(repairedUtf8(trimmedWhiteSpace(text)), trimmedWhiteSpace(repaired));
        ASSERT_EQ(fittingPrefix(text, displayWidth(text)), text);
        std::size_t length = 0;
        for (std::size_t n = 1; n <= count; ++n) {
            const std::string_view first = firstCharacters(text, n);
            ASSERT_GT(first.size(), length) << "each character adds bytes";
            length = first.size();
            ASSERT_EQ(std::string(first) + std::string(withoutFirstCharacters(text, n)), text);
            ASSERT_EQ(withoutLastCharacters(text, count - n), first);
        }
        ASSERT_EQ(length, text.size());
    }
}

}  // namespace
}  // namespace ledgerfern
