#include "PrintableText.h"

#include <gtest/gtest.h>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {
namespace {

TEST(PrintableText, takesControlCharactersOut) {
    EXPECT_EQ(printable("a\x1b[31mb"), "a\uFFFD[31mb");
    EXPECT_EQ(printable("a\tb\r\nc"), "a b  c");
    EXPECT_EQ(printable(std::string_view("a\0b\x7f", 4)), "a\uFFFDb\uFFFD");
    EXPECT_EQ(printable("csi \u009b2J"), "csi \uFFFD2J");
    EXPECT_EQ(printable("next\u0085line\u2028end"), "next line end");
}

TEST(PrintableText, replacesEachBadByte) {
    EXPECT_EQ(printable("a\xff\xfe"), "a\uFFFD\uFFFD");
    EXPECT_EQ(printable("\xc3"), "\uFFFD");
}

TEST(PrintableText, leavesOutMarksOfDirection) {
    EXPECT_EQ(printable("a\u202egpj.exe\u2066\u200f\u061c"), "agpj.exe");
}

TEST(PrintableText, keepsWhatIsHarmless) {
    const std::string text = "naïve 日本語 👩‍💻 שלום";
    EXPECT_EQ(printable(text), text);
}

TEST(PrintableText, showsADashForANameThatCannotBeSeen) {
    for (const std::string name :
         {"", " ", "\u200B", "\u200B\u2060\uFEFF", "\u202E", " \u00A0\u2003 ", "\u0301"})
        EXPECT_EQ(printableName(name), "—") << testing::PrintToString(name);
    EXPECT_EQ(printableName("a\u200B"), "a\u200B");
    EXPECT_EQ(printableName("\a"), "\uFFFD");
}

TEST(PrintableText, elidesInTheMiddle) {
    EXPECT_EQ(elided("abcdefgh", 8), "abcdefgh");
    EXPECT_EQ(elided("abcdefgh", 7), "abc…fgh");
    EXPECT_EQ(elided("abcdefgh", 4), "ab…h");
    EXPECT_EQ(elided("abcdefgh", 1), "…");
    EXPECT_EQ(elided("abcdefgh", 0), "");
}

TEST(PrintableText, neverCutsAWideCharacterInHalf) {
    // Each of these takes two columns.
    EXPECT_EQ(elided("日本語文字", 6), "日…字");
    EXPECT_EQ(displayWidth(elided("日本語文字", 6)), 5u);
    for (std::size_t columns = 0; columns < 12; ++columns)
        EXPECT_LE(displayWidth(elided("a日本b語文字👩‍💻", columns)), columns);
}

TEST(PrintableText, setsApartWhatRunsFromRightToLeft) {
    EXPECT_EQ(isolated("plain"), "plain");
    EXPECT_EQ(isolated("日本"), "日本");
    EXPECT_EQ(isolated("שלום"), "\u2068שלום\u2069");
    EXPECT_EQ(isolated("مشروع"), "\u2068مشروع\u2069");
    EXPECT_EQ(displayWidth(isolated("שלום")), 4u);
}

TEST(PrintableText, wrapsAtBlanks) {
    EXPECT_EQ(wrapped("one two three", 8, 0), "one two\nthree\n");
    EXPECT_EQ(wrapped("one two three", 7, 0), "one two\nthree\n");
    EXPECT_EQ(wrapped("one two three", 10, 2), "  one two\n  three\n");
    EXPECT_EQ(wrapped("one two three", 10, 2, 3), "  one two\n     three\n");
}

TEST(PrintableText, breaksWordsThatAreTooLong) {
    EXPECT_EQ(wrapped("abcdefgh", 3, 0), "abc\ndef\ngh\n");
    EXPECT_EQ(wrapped("日本", 1, 0), "日\n本\n");
}

}  // namespace
}  // namespace ledgerfern
