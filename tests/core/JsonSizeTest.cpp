#include "Parsing/JsonSize.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "Foundation/Numbers.h"
#include "core/JsonReference.h"
#include "core/RandomJson.h"

namespace ledgerfern {
namespace {

class JsonSizeTest : public testing::Test {
protected:
    std::int64_t compact(const std::string& text) {
        const auto value = reader.read(text);
        EXPECT_TRUE(value) << text;
        return value ? jsonLen(*value) : -1;
    }
    std::int64_t approximate(const std::string& text) {
        const auto value = reader.read(text);
        EXPECT_TRUE(value) << text;
        return approxLen(value);
    }

    JsonReader reader;
};

/// The compact text of a value, really built.
class CompactText {
public:
    std::string text;

    void operator()(std::nullptr_t) { text += "null"; }
    void operator()(bool flag) { text += flag ? "true" : "false"; }
    void operator()(std::int64_t number) { text += std::to_string(number); }
    void operator()(double number) { text += shortestText(number); }
    void operator()(const std::string& content) {
        text += '"';
        for (const char c : content)
            character(c);
        text += '"';
    }
    void operator()(const reference::Array& items) {
        text += '[';
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (i > 0) text += ',';
            std::visit(*this, items[i].content);
        }
        text += ']';
    }
    void operator()(const reference::Object& object) {
        text += '{';
        for (bool first = true; const auto& [key, value] : object) {
            if (!first) text += ',';
            first = false;
            (*this)(key);
            text += ':';
            std::visit(*this, value.content);
        }
        text += '}';
    }

private:
    void character(char c) {
        static constexpr std::string_view shortEscapes = "\"\\\b\f\n\r\t";
        static constexpr std::string_view letters = "\"\\bfnrt";
        const std::size_t place = shortEscapes.find(c);
        if (place != std::string_view::npos) {
            text += '\\';
            text += letters[place];
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[7];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            text += escape;
        } else {
            text += c;
        }
    }
};

std::int64_t codeUnits(const std::string& text) {
    std::int64_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        units += byte >= 0xF0 ? 2 : (byte & 0xC0) == 0x80 ? 0 : 1;
    }
    return units;
}

TEST_F(JsonSizeTest, measuresTheTextWithoutWhiteSpace) {
    EXPECT_EQ(compact(" { } "), 2);
    EXPECT_EQ(compact(" [ ] "), 2);
    EXPECT_EQ(compact("[1, 2, [ ], { }]"), 11);
    EXPECT_EQ(compact(R"({ "a" : 1 , "b" : [ true, false, null ] })"), 29);
    EXPECT_EQ(compact("null"), 4);
    EXPECT_EQ(compact("true"), 4);
    EXPECT_EQ(compact("false"), 5);
}

TEST_F(JsonSizeTest, escapesInStringsOnlyWhatMustBe) {
    EXPECT_EQ(compact(R"("")"), 2);
    EXPECT_EQ(compact(R"("a\/b")"), 5);
    EXPECT_EQ(compact(R"("\"\\\b\f\n\r\t")"), 16);
    EXPECT_EQ(compact(R"("\u0000\u001f\u000b\u0041\u007f")"), 22);
    EXPECT_EQ(compact(R"("\u00e9€\ud83d\ude00")"), 6);
    EXPECT_EQ(compact(R"("\ud83d")"), 3);
    EXPECT_EQ(compact(R"({"\"":"\n"})"), 11);
}

TEST_F(JsonSizeTest, integersOf64BitsAreInPlainDecimal) {
    EXPECT_EQ(compact("0"), 1);
    EXPECT_EQ(compact("-0"), 1);
    EXPECT_EQ(compact("9"), 1);
    EXPECT_EQ(compact("10"), 2);
    EXPECT_EQ(compact("-10"), 3);
    EXPECT_EQ(compact("9223372036854775807"), 19);
    EXPECT_EQ(compact("-9223372036854775808"), 20);
}

TEST_F(JsonSizeTest, otherNumbersAreInTheirShortestText) {
    EXPECT_EQ(compact("1.0"), 1);
    EXPECT_EQ(compact("-0.0"), 2);
    EXPECT_EQ(compact("1e5"), 5);  // 1e+05
    EXPECT_EQ(compact("0.1"), 3);
    EXPECT_EQ(compact("9223372036854775808"), 19);
    EXPECT_EQ(compact("18446744073709551616"), 20);
    EXPECT_EQ(compact("-9223372036854775809"), 20);
    EXPECT_EQ(compact("1e400"), 4);  // null
    EXPECT_EQ(compact("1.7976931348623157e308"), 23);
    EXPECT_EQ(compact("1e-400"), 1);
}

TEST_F(JsonSizeTest, aRepeatedKeyCountsOnceWithItsLastValue) {
    EXPECT_EQ(compact(R"({"a":[1,2,3],"a":1})"), 7);
    EXPECT_EQ(compact(R"({"a":1,"\u0061":[1,2,3]})"), 13);
    EXPECT_EQ(compact(R"({"a":"x","b":1,"a":"xx","a":22,"b":2})"), 14);
    EXPECT_EQ(compact(R"({"\ud800":1,"�":2})"), 7);
}

TEST_F(JsonSizeTest, keysThatLookAlikeAreTwo) {
    EXPECT_EQ(compact(R"({"one_key":1,"other_key":1,"once_key":1})"), 40);
    EXPECT_EQ(compact(R"({"abc":1,"acc":2,"abc":33})"), 18);
    EXPECT_EQ(compact(R"({"":1,"a":2,"":3})"), 12);
}

TEST_F(JsonSizeTest, repeatedKeysInsideEachOtherTakeNoExponentialTime) {
    std::string text = "1";
    for (int i = 0; i < 500; ++i)
        text = R"({"a":)" + text + R"(,"a":)" + (i % 2 == 0 ? "0" : "10") + "}";
    EXPECT_EQ(compact(text), 8);
    text = "1";
    for (int i = 0; i < 500; ++i)
        text = R"({"a":0,"a":)" + text + "}";
    EXPECT_EQ(compact(text), 500 * 6 + 1);
}

TEST_F(JsonSizeTest, objectsOfManyKeysAreMeasuredLikeSmallOnes) {
    for (int count = 1; count < 40; ++count) {
        std::string text = "{";
        for (int i = 0; i < count; ++i)
            text += "\"" + std::to_string(i % 23) + "\": " + std::to_string(i * i * i) + " ,";
        text.back() = '}';
        const auto expected = reference::read(text);
        CompactText built;
        std::visit(built, expected->content);
        EXPECT_EQ(compact(text), codeUnits(built.text)) << text;
    }
}

TEST_F(JsonSizeTest, anObjectOfVeryManyKeysTakesNoQuadraticTime) {
    // Compared pair by pair, these keys would take hours.
    std::string text = "{";
    std::int64_t size = 1;
    for (int i = 1'000'000; i < 1'400'000; ++i) {
        text += "\"" + std::to_string(i) + "\":0,";
        size += 12;
    }
    text.back() = '}';
    EXPECT_EQ(compact(text), size);
}

TEST_F(JsonSizeTest, aBareValueIsMeasuredBare) {
    EXPECT_EQ(approxLen(std::nullopt), 8);
    EXPECT_EQ(approximate("null"), 4);
    EXPECT_EQ(approximate("true"), 1);
    EXPECT_EQ(approximate("false"), 1);
    EXPECT_EQ(approximate(R"("")"), 0);
    EXPECT_EQ(approximate(R"("a\n\"é\ud83d\ude00\u0000")"), 7);
    EXPECT_EQ(approximate("-120"), 4);
    EXPECT_EQ(approximate("-0"), 1);
    EXPECT_EQ(approximate("-0.0"), 2);
    EXPECT_EQ(approximate("1.0"), 1);
    EXPECT_EQ(approximate("1e5"), 6);
    EXPECT_EQ(approximate("1e-7"), 9);
    EXPECT_EQ(approximate("9223372036854775808"), 19);
    EXPECT_EQ(approximate("1e300"), 301);
    EXPECT_EQ(approximate("1e400"), 4);
}

TEST_F(JsonSizeTest, arraysAndObjectsAreMeasuredAsCompactTextWhereverTheyStand) {
    EXPECT_EQ(approximate(R"(["a", true, 1e5])"), 16);
    EXPECT_EQ(approximate(R"({"text": "a\n"})"), 14);
}

TEST_F(JsonSizeTest, measuresNestingAtTheLimit) {
    EXPECT_EQ(compact(std::string(1024, '[') + std::string(1024, ']')), 2048);
}

TEST_F(JsonSizeTest, equalsTheLengthOfTheTextForRandomDocuments) {
    for (std::uint64_t seed = 0; seed < 3000 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        const std::string text = RandomJson(seed).document();
        CompactText built;
        std::visit(built, reference::read(text)->content);
        EXPECT_EQ(compact(text), codeUnits(built.text)) << text << "\n" << built.text;
    }
}

}  // namespace
}  // namespace ledgerfern
