#include "Foundation/JsonDocument.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

std::optional<std::string> rewritten(std::string_view text) {
    JsonErrorPlace place;
    const auto document = readJsonDocument(text, place);
    if (!document) return std::nullopt;
    return jsonText(*document);
}

TEST(JsonDocument, everyNumberKeepsItsText) {
    for (const char* number :
         {"0", "-0", "1.0", "1.50", "1e5", "1E+05", "-2.5e-300", "1e400", "123456789012345678901234567890",
          "1000000000000000000000000000000", "9007199254740993", "-0.0"})
        EXPECT_EQ(rewritten(number), std::string(number) + "\n");
    EXPECT_EQ(rewritten(R"({"b":[1.0,{"x":-0,"y":"7 -8 \" 9"},2e3],"a":1E2})"), R"({
  "a": 1E2,
  "b": [
    1.0,
    {
      "x": -0,
      "y": "7 -8 \" 9"
    },
    2e3
  ]
}
)");
}

TEST(JsonDocument, everyOtherValueKeepsItsMeaning) {
    EXPECT_EQ(
        rewritten(R"({"t":true,"f":false,"n":null,"e":"","o":{},"a":[],"s":"\/\u00e9\ud83d\ude00\u0000\n"})"),
        "{\n  \"a\": [],\n  \"e\": \"\",\n  \"f\": false,\n  \"n\": null,\n  \"o\": {},\n"
        "  \"s\": \"/é😀\\u0000\\n\",\n  \"t\": true\n}\n");
    EXPECT_EQ(rewritten(" \"x\" "), "\"x\"\n");
}

TEST(JsonDocument, halfASurrogatePairKeepsTheTextOfItsString) {
    for (const char* string : {R"("\ud800")", R"("\uDFFF")", R"("a\/\u00e9\n\ud83d\ude00 \ude00\uD83D")",
                               R"("\ud800\ud800\udc00")"})
        EXPECT_EQ(rewritten(string), std::string(string) + "\n");
    EXPECT_EQ(
        rewritten(
            R"({"\uD800":1,"z":["\ud800","\"\\ud800\""],"\u0061":2,"\ud800":{"\udead":"\ud83d\ude00"}})"),
        R"({
  "a": 2,
  "z": [
    "\ud800",
    "\"\\ud800\""
  ],
  "\uD800": 1,
  "\ud800": {
    "\udead": "😀"
  }
}
)");
}

TEST(JsonDocument, ofAKeyThatOccursTwiceTheLastValueCounts) {
    EXPECT_EQ(rewritten(R"({"a":{"b":1},"a":[2.0]})"), "{\n  \"a\": [\n    2.0\n  ]\n}\n");
    EXPECT_EQ(rewritten(R"({"a":[1,2],"a":{"c":3.10}})"), "{\n  \"a\": {\n    \"c\": 3.10\n  }\n}\n");
}

TEST(JsonDocument, whatIsWrittenReadsAsTheSame) {
    JsonErrorPlace place;
    const std::string text = R"({"a":[1.0,[],{},[[-1e-7]]],"ü":{"x":"\"\\"},"":null})";
    const auto document = readJsonDocument(text, place);
    ASSERT_TRUE(document);
    EXPECT_EQ(readJsonDocument(jsonText(*document), place), document);
}

TEST(JsonDocument, tellsWhereATextIsNoJson) {
    struct Bad {
        const char* text;
        std::size_t line, column;
    };
    const std::string deep(1025, '[');
    for (const Bad& bad : {Bad{"", 1, 1},
                           Bad{"{\n  \"a\": 1,\n  b\n}", 3, 3},
                           Bad{"[1,2", 1, 5},
                           Bad{"{} x", 1, 4},
                           Bad{"\"\xFF\"", 1, 2},
                           Bad{"\"ü\xC3\"", 1, 4},
                           Bad{"\"\xFF", 1, 3},
                           Bad{"\xEF\xBB\xBF{}", 1, 1},
                           Bad{"01", 1, 2},
                           Bad{"-x", 1, 2},
                           Bad{"1.", 1, 3},
                           Bad{"1e+]", 1, 4},
                           Bad{"[1,]", 1, 4},
                           Bad{"[nul]", 1, 5},
                           Bad{"{\"a\" 1}", 1, 6},
                           Bad{"{1:2}", 1, 2},
                           Bad{"{\"a\":1,}", 1, 8},
                           Bad{"\"a\nb\"", 1, 3},
                           Bad{"\"\\x\"", 1, 3},
                           Bad{"\"\\u12g4\"", 1, 6},
                           Bad{"{]", 1, 2},
                           Bad{"{\"a\":1e400,}", 1, 12},
                           Bad{"{\"\\ud800\":\"\\ud800\",}", 1, 20},
                           Bad{deep.c_str(), 1, 1025}}) {
        JsonErrorPlace place{99, 99};
        EXPECT_FALSE(readJsonDocument(bad.text, place)) << bad.text;
        EXPECT_EQ(place.line, bad.line) << bad.text;
        EXPECT_EQ(place.column, bad.column) << bad.text;
    }
}

TEST(JsonDocument, refusesWhatJsonDoesNotKnow) {
    for (const char* text :
         {"\xEF\xBB\xBF{}", "{'a':1}", "[1,]", "// x\n1", "NaN", "1.", "+1", ".5", "\"\t\""})
        EXPECT_EQ(rewritten(text), std::nullopt) << text;
}

TEST(JsonDocument, aZeroByteIsNoEnd) {
    using namespace std::string_view_literals;
    JsonErrorPlace place;
    for (const std::string_view text : {"{}\0"sv, "{}\n\0{}"sv, "{\0}"sv, "\0"sv, "\"a\0\""sv})
        EXPECT_FALSE(readJsonDocument(text, place));
    EXPECT_FALSE(readJsonDocument("{}\n \0x"sv, place));
    EXPECT_EQ(place.line, 2u);
    EXPECT_EQ(place.column, 2u);
}

TEST(JsonDocument, nestingIsLimited) {
    EXPECT_TRUE(rewritten(std::string(1024, '[') + std::string(1024, ']')));
    EXPECT_FALSE(rewritten(std::string(1025, '[') + std::string(1025, ']')));
    EXPECT_FALSE(rewritten(std::string(1'000'000, '[')));
}

}  // namespace
}  // namespace ledgerfern
