#include "Parsing/StringSize.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace ledgerfern {
namespace {

using namespace std::string_literals;

/// Counts byte by byte, from what the text would be.
std::int64_t slowSize(const std::string& text, bool escaped) {
    std::int64_t size = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80 && byte < 0xC0) continue;
        const bool isShortEscape = escaped && "\"\\\b\f\n\r\t"s.find(c) != std::string::npos;
        if (byte >= 0xF0 || isShortEscape)
            size += 2;
        else if (escaped && byte < 0x20)
            size += 6;
        else
            ++size;
    }
    return size;
}

void expectSizes(const std::string& text) {
    EXPECT_EQ(utf16Size(text), slowSize(text, false)) << text.size();
    EXPECT_EQ(escapedUtf16Size(text), slowSize(text, true)) << text.size();
}

TEST(StringSize, countsUtf16CodeUnits) {
    EXPECT_EQ(utf16Size(""), 0);
    EXPECT_EQ(utf16Size("a\"\n"), 3);
    EXPECT_EQ(utf16Size("é€😀"), 4);
    EXPECT_EQ(escapedUtf16Size(""), 0);
    EXPECT_EQ(escapedUtf16Size("é€😀"), 4);
    EXPECT_EQ(escapedUtf16Size("\"\\\b\f\n\r\t"), 14);
    EXPECT_EQ(escapedUtf16Size("\v\x1F\0"s), 18);
    EXPECT_EQ(escapedUtf16Size("/\x7F"), 2);
}

TEST(StringSize, everyByteHasItsWeightInEveryPlace) {
    for (int byte = 0; byte < 0xF8; ++byte) {
        for (std::size_t place = 0; place < 33; ++place) {
            std::string text(33, 'x');
            text[place] = static_cast<char>(byte);
            expectSizes(text);
        }
    }
}

TEST(StringSize, longTextsOfOneSortOverflowNothing) {
    for (const int byte : {0x00, 0x0A, 0x0B, 0x20, 0x22, 0x41, 0x80, 0xC3, 0xF0}) {
        const std::string text(100'003, static_cast<char>(byte));
        for (const std::size_t length : {127U * 16, 127U * 16 + 1, 128U * 16, 254U * 16 + 15, 100'003U})
            expectSizes(text.substr(0, length));
    }
}

TEST(StringSize, countsRandomTextsOfEveryLength) {
    std::mt19937_64 random(1);
    static constexpr std::string_view pieces[] = {"a",  "é",  "€",    "😀", "\n",        "\"",
                                                  "\\", "\t", "\x1B", "\v", "0123456789"};
    std::string text;
    for (std::size_t length = 0; length < 600; ++length) {
        expectSizes(text);
        text += pieces[random() % std::size(pieces)];
    }
}

}  // namespace
}  // namespace ledgerfern
