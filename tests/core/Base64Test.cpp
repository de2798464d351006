#include "Foundation/Base64.h"

#include <gtest/gtest.h>

#include <random>

namespace ledgerfern {
namespace {

std::string text(std::string_view bytes) {
    std::string out;
    appendBase64(out, bytes);
    return out;
}

std::optional<std::string> bytesOf(std::string_view text) {
    std::string bytes = "what was there before";
    const bool isRead = readBase64(text, bytes);
    if (!isRead) {
        EXPECT_EQ(bytes, "") << text;
    }
    return isRead ? std::optional(bytes) : std::nullopt;
}

TEST(Base64, writesAndReadsTheWellKnownTexts) {
    const std::pair<std::string_view, std::string_view> examples[] = {{"", ""},
                                                                      {"f", "Zg=="},
                                                                      {"fo", "Zm8="},
                                                                      {"foo", "Zm9v"},
                                                                      {"foob", "Zm9vYg=="},
                                                                      {"fooba", "Zm9vYmE="},
                                                                      {"foobar", "Zm9vYmFy"},
                                                                      {"\xFB\xFF", "+/8="}};
    for (const auto& [bytes, expected] : examples) {
        EXPECT_EQ(text(bytes), expected);
        EXPECT_EQ(bytesOf(expected), bytes);
    }
}

TEST(Base64, appendsToWhatIsThere) {
    std::string out = "\"";
    appendBase64(out, "foo");
    appendBase64(out, "fo");
    EXPECT_EQ(out, "\"Zm9vZm8=");
}

TEST(Base64, readsBackBytesOfEveryLengthAndValue) {
    std::mt19937 random(7);
    for (std::size_t length = 0; length < 600; ++length) {
        std::string bytes;
        for (std::size_t i = 0; i < length; ++i)
            bytes += static_cast<char>(random());
        EXPECT_EQ(text(bytes).size(), (length + 2) / 3 * 4);
        EXPECT_EQ(bytesOf(text(bytes)), bytes);
    }
}

TEST(Base64, refusesWhatIsNoBase64) {
    for (const std::string_view wrong :
         {"Z",    "Zg",       "Zg=",     "Zm8",     "=",     "==",    "===",    "====",         "Z===",
          "=g==", "Zg==Zg==", "Zm=v",    "Zm9v ",   " Zm9v", "Zm9\n", "Zm9v\n", "Zm9v\r\n\r\n", "Zm9vZg=",
          "Zm9-", "Zm9_",     "Zm9\x80", "Zm9v===="})
        EXPECT_EQ(bytesOf(wrong), std::nullopt) << wrong;
    EXPECT_EQ(bytesOf(std::string_view("Zm\0v", 4)), std::nullopt);
}

TEST(Base64, takesEachCharacterForItsPlaceInTheAlphabetOnly) {
    const std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t place = 0; place < 8; ++place)
        for (int code = 0; code < 256; ++code) {
            std::string group = "AAAAAAAA";
            group[place] = static_cast<char>(code);
            const bool isPadding = code == '=' && place == 7;
            EXPECT_EQ(bytesOf(group).has_value(),
                      alphabet.find(static_cast<char>(code)) != std::string_view::npos || isPadding)
                << place << ' ' << code;
        }
}

TEST(Base64, refusesBitsThatMeanNothing) {
    int accepted = 0;
    for (const char c :
         std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")) {
        for (const std::string& wrong : {std::string("Z") + c + "==", std::string("Zm") + c + "="}) {
            const auto bytes = bytesOf(wrong);
            if (!bytes) continue;
            ++accepted;
            EXPECT_EQ(text(*bytes), wrong);
        }
    }
    EXPECT_EQ(accepted, 4 + 16);
}

}  // namespace
}  // namespace ledgerfern
