#include "Foundation/JsonReader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "core/JsonReference.h"

namespace ledgerfern {
namespace {

using namespace std::string_literals;

constexpr std::int64_t maxInteger = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t minInteger = std::numeric_limits<std::int64_t>::min();

class JsonReaderTest : public testing::Test {
protected:
    /// Reads with both functions, which must agree.
    OptionalJson read(const std::string& text) {
        const bool valid = reader.read(text).has_value();
        padded = text + std::string(JsonReader::padding, '"');
        const auto value = reader.readPadded(std::string_view(padded).substr(0, text.size()));
        EXPECT_EQ(value.has_value(), valid) << text;
        return value;
    }
    bool isValid(const std::string& text) { return read(text).has_value(); }
    bool isNull(const std::string& text) {
        const auto value = read(text);
        return value && value->is_null();
    }
    std::optional<std::string> string(const std::string& text) {
        const auto value = asString(read(text));
        return value ? std::optional(std::string(*value)) : std::nullopt;
    }
    std::optional<std::int64_t> integer(const std::string& text) { return asInteger(read(text)); }
    std::optional<double> number(const std::string& text) { return asDouble(read(text)); }

    JsonReader reader;
    std::string padded;
};

std::string nested(const std::string& opening, const std::string& inside, const std::string& closing,
                   int times) {
    std::string text;
    for (int i = 0; i < times; ++i)
        text += opening;
    text += inside;
    for (int i = 0; i < times; ++i)
        text += closing;
    return text;
}

TEST_F(JsonReaderTest, readsTheMembersOfAnObject) {
    const auto object = asObject(read(R"({"type":"event_msg","n":3,"list":[1,2],"gone":null})"));
    ASSERT_TRUE(object);
    const auto [list, missing, type, n] = members(*object, "list", "missing", "type", "n");
    ASSERT_TRUE(asArray(list));
    EXPECT_EQ(asArray(list)->size(), 2U);
    EXPECT_FALSE(missing);
    EXPECT_EQ(asString(type), "event_msg");
    EXPECT_EQ(asInteger(n), 3);
    EXPECT_TRUE(member(*object, "gone")->is_null());
}

TEST_F(JsonReaderTest, theLastOfEqualKeysCounts) {
    const auto object = asObject(read(R"({"a":1,"b":2,"a":"x","\u0061":[]})"));
    ASSERT_TRUE(object);
    EXPECT_TRUE(asArray(member(*object, "a")));
    EXPECT_EQ(asInteger(members(*object, "a", "b")[1]), 2);
}

TEST_F(JsonReaderTest, aValueOfAnotherTypeIsAbsent) {
    EXPECT_FALSE(asObject(read("[]")));
    EXPECT_FALSE(asObject(std::nullopt));
    EXPECT_FALSE(asArray(read("{}")));
    EXPECT_FALSE(asArray(std::nullopt));
    EXPECT_FALSE(asString(read("1")));
    EXPECT_FALSE(asString(std::nullopt));
    for (const char* text : {"null", "\"1\"", "[1]", "{}"}) {
        EXPECT_FALSE(integer(text)) << text;
        EXPECT_FALSE(number(text)) << text;
    }
    EXPECT_FALSE(asInteger(std::nullopt));
    EXPECT_FALSE(asDouble(std::nullopt));
}

TEST_F(JsonReaderTest, anyValueIsADocumentWithWhiteSpaceAround) {
    for (const char* text :
         {"1", " 1", "1 ", "\r\n\t true \r\n", "null ", "\"\"", " \"a\" ", "[]\n", "-1.5e3\t"})
        EXPECT_TRUE(isValid(text)) << text;
}

TEST_F(JsonReaderTest, textsThatAreNotJsonAreAbsent) {
    for (const std::string& text : {
             ""s,          " "s,           "\n"s,          "{"s,     "["s,       "]"s,         "[1"s,
             "[1,]"s,      "[,1]"s,        "[1 2]"s,       "[]]"s,   "[}"s,      "{]"s,        "{\"a\"}"s,
             "{\"a\":}"s,  "{\"a\":1,}"s,  "{,}"s,         "{1:2}"s, "{a:1}"s,   "{\"a\" 1}"s, "nul"s,
             "tru"s,       "fals"s,        "nulll"s,       "true1"s, "True"s,    "NaN"s,       "Infinity"s,
             "-Infinity"s, "'a'"s,         "// a\n1"s,     "/**/1"s, "\"abc"s,   "\"a\\\""s,   "\"\\x41\""s,
             "\"\\u12\""s, "\"\\u12G4\""s, "\"\\U0041\""s, "\"\\"s,  "\\u0041"s,
         })
        EXPECT_FALSE(isValid(text)) << text;
}

TEST_F(JsonReaderTest, numbersNotInTheGrammarAreInvalid) {
    for (const char* token : {"01",    "-",     "--1",    "+1",  "1.",    ".5",     "-.5",
                              "0e",    "1e",    "1e+",    "-01", "00",    "0x1",    "1_0",
                              "1e5.5", "1.5.5", "1e400.", "-e5", "1E+-5", "01e400", "099999999999999999999",
                              "1e400e"}) {
        EXPECT_FALSE(isValid(token)) << token;
        EXPECT_FALSE(isValid("[" + std::string(token) + "]")) << token;
        // A token that has to be mended stands beside it.
        EXPECT_FALSE(isValid("[1e400," + std::string(token) + "]")) << token;
    }
}

TEST_F(JsonReaderTest, nothingButWhiteSpaceMayFollow) {
    for (const std::string& text :
         {"{}{}"s, "{} x"s, "1 1"s, "\"a\"\"b\""s, "[],"s, "{}\0"s, "1\0"s, "null\v"s})
        EXPECT_FALSE(isValid(text)) << text;
}

TEST_F(JsonReaderTest, onlyFourCharactersAreWhiteSpace) {
    for (const std::string& text :
         {"[\f1]"s, "[\v1]"s, "[\0]"s, "[1\0]"s, "\xC2\xA0[]"s, "[\xE2\x80\xA8]"s, "\x1A"s, "[]\x1F"s})
        EXPECT_FALSE(isValid(text)) << text;
}

TEST_F(JsonReaderTest, aByteOrderMarkIsInvalid) {
    EXPECT_FALSE(isValid("\xEF\xBB\xBF{}"));
    EXPECT_FALSE(isValid("{}\xEF\xBB\xBF"));
    EXPECT_FALSE(isValid(""s + '\xFE' + '\xFF' + "{}"));
    // In a string it is a character like others.
    EXPECT_EQ(string("\"\xEF\xBB\xBF\""), "\xEF\xBB\xBF");
}

TEST_F(JsonReaderTest, controlCharactersInStringsAreInvalid) {
    for (int c = 0; c < 0x20; ++c)
        EXPECT_FALSE(isValid("\"a"s + static_cast<char>(c) + "b\"")) << c;
    EXPECT_EQ(string("\"a\x7F\""), "a\x7F");
}

TEST_F(JsonReaderTest, invalidUtf8IsInvalid) {
    for (const char* bytes :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE2\x82", "\xE0\x80\x80", "\xED\xA0\x80",
          "\xED\xBF\xBF", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF"})
        EXPECT_FALSE(isValid("[\"" + std::string(bytes) + "\"]")) << bytes;
    EXPECT_EQ(string("\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBF\""), "é€😀\xEF\xBF\xBF");
}

TEST_F(JsonReaderTest, escapesAreReadAsTheirCharacters) {
    EXPECT_EQ(string(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(string(R"("\u0041\u00e9\u20AC\ud83d\ude00\uD83D\uDE00")"), "Aé€😀😀");
    EXPECT_EQ(string(R"("a\u0000b")"), "a\0b"s);
}

TEST_F(JsonReaderTest, aLoneSurrogateEscapeIsTheReplacementCharacter) {
    EXPECT_EQ(string(R"("\ud83d")"), "�");
    EXPECT_EQ(string(R"("\ude00")"), "�");
    EXPECT_EQ(string(R"("\uDE00\uD83D")"), "��");
    EXPECT_EQ(string(R"("a\ud83db")"), "a�b");
    EXPECT_EQ(string(R"("\ud83d\u0041")"), "�A");
    EXPECT_EQ(string(R"("\ud83d\n")"), "�\n");
    EXPECT_EQ(string(R"("\ud83d\ud83d\ude00\ude00")"), "�😀�");
    EXPECT_EQ(string(R"("\\ud83d")"), "\\ud83d");
    EXPECT_EQ(string(R"("\\\ud83d")"), "\\�");
    const auto object = asObject(read(R"({"\udbff":"\udfff\"","b":"\ud800"})"));
    ASSERT_TRUE(object);
    EXPECT_EQ(asString(member(*object, "�")), "�\"");
    EXPECT_EQ(asString(member(*object, "b")), "�");
}

TEST_F(JsonReaderTest, aLoneSurrogateMendsNothingElse) {
    for (const char* text : {R"("\ud83d\u")", R"("\ud83d\ud8")", R"("\ud83)", R"("\ud83d)", R"(["\ud83d",])",
                             R"(["\ud83d)", R"(\ud83d)", "[\"\\ud83d\",\"\x80\"]", "[\"\\ud83d\",\"\n\"]"})
        EXPECT_FALSE(isValid(text)) << text;
}

TEST_F(JsonReaderTest, integersOf64BitsAreExact) {
    EXPECT_EQ(integer("9223372036854775807"), maxInteger);
    EXPECT_EQ(integer("-9223372036854775808"), minInteger);
    EXPECT_EQ(integer("9007199254740993"), 9007199254740993);
    EXPECT_EQ(integer("-0"), 0);
    EXPECT_EQ(integer("0"), 0);
}

TEST_F(JsonReaderTest, integersBeyond64BitsAreTheNearestDouble) {
    for (const char* text :
         {"9223372036854775808", "18446744073709551615", "18446744073709551616", "-9223372036854777857",
          "123456789012345678901234567890", "9223372036854777857"}) {
        EXPECT_FALSE(integer(text)) << text;
        EXPECT_EQ(number(text), std::strtod(text, nullptr)) << text;
    }
    // This one's nearest double is an integer of 64 bits again.
    EXPECT_EQ(integer("-9223372036854775809"), minInteger);
    EXPECT_EQ(number("1" + std::string(300, '0')), 1e300);
    EXPECT_EQ(number("[" + std::string(308, '9') + "]"), std::nullopt);
    EXPECT_EQ(number(std::string(308, '9')), 1e308);
}

TEST_F(JsonReaderTest, numbersBeyondADoublesRangeAreNull) {
    for (const std::string& text :
         {"1e400"s, "-1e400"s, "1E+309"s, "1.7976931348623159e308"s, "0.1e310"s, "0.0001e400"s,
          "179769313486231590e291"s, "1e99999999999999999999999"s, std::string(5000, '1'),
          "-" + std::string(310, '9'), std::string(400, '9') + ".5", std::string(400, '9') + "e-50"}) {
        EXPECT_TRUE(isNull(text)) << text;
        EXPECT_FALSE(number(text)) << text;
    }
    EXPECT_EQ(number("1.7976931348623157e308"), 1.7976931348623157e308);
    EXPECT_EQ(number("1.7976931348623158e308"), 1.7976931348623157e308);
    const auto object = asObject(read(R"({"used_percent":1e400,"next":7})"));
    ASSERT_TRUE(object);
    EXPECT_FALSE(asDouble(member(*object, "used_percent")));
    EXPECT_EQ(asInteger(member(*object, "next")), 7);
}

TEST_F(JsonReaderTest, numbersTooSmallForADoubleAreZero) {
    for (const std::string& text : {"1e-400"s, "0.0"s, "0e99999999999999999999"s, "0.0e400"s,
                                    "1e-99999999999999999999999"s, "0." + std::string(5000, '0') + "1"})
        EXPECT_EQ(number(text), 0.0) << text;
    EXPECT_TRUE(std::signbit(*number("-0.0")));
    EXPECT_TRUE(std::signbit(*number("-1e-400")));
    // The same where another number has to be mended.
    EXPECT_EQ(asDouble(asArray(read("[1e-400,1e400]"))->at(0).value()), 0.0);
    EXPECT_EQ(number("5e-324"), 5e-324);
}

TEST_F(JsonReaderTest, manyDigitsAreReadExactly) {
    EXPECT_EQ(number("0." + std::string(5000, '1')), 1.0 / 9);
    EXPECT_EQ(number(std::string(5000, '1') + ".5e-4999"), 10.0 / 9);
    EXPECT_EQ(number("0." + std::string(400, '0') + "1e401"), 1.0);
    EXPECT_EQ(number("9007199254740993.0"), 9007199254740992.0);
    EXPECT_EQ(number("9007199254740993.0000000000000000000000000001"), 9007199254740994.0);
}

TEST_F(JsonReaderTest, anIntegerIsCutTowardZero) {
    EXPECT_EQ(integer("1.9"), 1);
    EXPECT_EQ(integer("-1.9"), -1);
    EXPECT_EQ(integer("1e3"), 1000);
    EXPECT_EQ(integer("-9223372036854775808.0"), minInteger);
    EXPECT_EQ(integer("9223372036854774784.0"), 9223372036854774784);
    EXPECT_FALSE(integer("9223372036854775808.0"));
    EXPECT_FALSE(integer("1e300"));
    EXPECT_FALSE(integer("-1e19"));
}

TEST_F(JsonReaderTest, aBooleanReadsAsOneOrZero) {
    EXPECT_EQ(integer("true"), 1);
    EXPECT_EQ(integer("false"), 0);
    EXPECT_EQ(number("true"), 1.0);
    EXPECT_EQ(number("false"), 0.0);
}

TEST_F(JsonReaderTest, upTo1024ArraysAndObjectsMayBeInsideEachOther) {
    const std::pair<const char*, int> insides[] = {
        {"", 0},      {"1", 0},  {"\"[[\"", 0},          {"\"\\\"[\"", 0}, {"\"\\ud83d\"", 0},
        {"1e400", 0}, {"[]", 1}, {"1,[2],{},\"[[\"", 1}, {"[[]]", 2},      {"{},[{}]", 2}};
    for (const auto& [inside, levels] : insides) {
        EXPECT_TRUE(isValid(nested("[", inside, "]", 1023 - levels))) << inside;
        EXPECT_TRUE(isValid(nested("[", inside, "]", 1024 - levels))) << inside;
        EXPECT_FALSE(isValid(nested("[", inside, "]", 1025 - levels))) << inside;
    }
    for (const int times : {1023, 1024})
        EXPECT_TRUE(isValid(nested("{\"[\":", "1", "}", times))) << times;
    EXPECT_FALSE(isValid(nested("{\"[\":", "1", "}", 1025)));
    EXPECT_TRUE(isValid(nested("{\"a\":", "{}", "}", 1023)));
    EXPECT_FALSE(isValid(nested("{\"a\":", "{}", "}", 1024)));
    EXPECT_TRUE(isValid(nested("[1,{\"a\":", "\"\\\"[\"", "}]", 512)));
    EXPECT_FALSE(isValid(nested("[1,{\"a\":", "[]", "}]", 512)));
    EXPECT_FALSE(isValid(nested("[1,{\"a\":", "{}", "}]", 512)));
    EXPECT_FALSE(isValid(nested("[", "", "]", 100000)));
    EXPECT_FALSE(isValid(std::string(100000, '[')));
}

TEST_F(JsonReaderTest, manyShallowArraysAreNoNesting) {
    std::string text = "[";
    for (int i = 0; i < 5000; ++i)
        text += "[[],{}],";
    EXPECT_TRUE(isValid(text + "1e400]"));
    EXPECT_FALSE(isValid(text + "1e400]]"));
}

TEST_F(JsonReaderTest, readsOnAfterErrorsAndLongTexts) {
    const std::string longText = "\"" + std::string(3'000'000, 'x') + "\"";
    EXPECT_EQ(string(longText)->size(), 3'000'000U);
    EXPECT_FALSE(isValid(longText + "x"));
    EXPECT_EQ(integer("1"), 1);
    EXPECT_TRUE(isValid(nested("[", "1", "]", 1024)));
    EXPECT_EQ(string("\"" + std::string(70'000, 'y') + "\\ud800\"")->size(), 70'003U);
    reader.releaseMemory();
    EXPECT_EQ(integer("2"), 2);
    EXPECT_EQ(string(longText)->size(), 3'000'000U);
    reader.releaseMemory();
    EXPECT_FALSE(isValid(""));
    EXPECT_FALSE(isValid(nested("[", "", "]", 1025)));
}

TEST(JsonNormaliser, replacesWhatHasToBeMendedAndNothingElse) {
    const auto normalised = [](std::string_view text) {
        std::string result = "left from before";
        EXPECT_TRUE(normaliseJson(text, result)) << text;
        return result;
    };
    EXPECT_EQ(normalised(R"({"\uD83D": 1e400})"), R"({"\ufffd": null})");
    EXPECT_EQ(normalised("[18446744073709551616,-1e999 ]"), "[18446744073709551616.0,null ]");
    EXPECT_EQ(normalised("1000000000000000000000000000000"), "1e+30");
    EXPECT_EQ(normalised(R"("\ud83d\n\ude00\ud83d\ude00")"), R"("\ufffd\n\ufffd\ud83d\ude00")");
    EXPECT_EQ(normalised(R"([01, 1e400, "\ud83)"), R"([01, null, "\ud83)");
}

TEST(JsonNormaliser, saysWhereThereIsNothingToReplace) {
    for (const std::string& text : {""s, " [1, 2.50 ,1E5,-0,1e-400]\n"s, R"("1e400 \" \u0041 \ud83d\ude00")"s,
                                    "01e400 1e400. --1e400 1e"s, "\"\\u"s, "\"\\"s, "\\ud83d"s, "\x80\xFF"s,
                                    "9223372036854775807 -9223372036854775808"s}) {
        std::string result = "left from before";
        EXPECT_FALSE(normaliseJson(text, result)) << text;
        EXPECT_EQ(result, "");
    }
}

}  // namespace
}  // namespace ledgerfern
