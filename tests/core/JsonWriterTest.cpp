#include "Foundation/JsonWriter.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

namespace ledgerfern {
namespace {

using Json = nlohmann::json;

template <class Write>
std::string written(Write write) {
    std::string out;
    JsonWriter writer(out);
    write(writer);
    return out;
}

std::string text(std::string_view value) {
    return written([&](JsonWriter& json) { json.value(value); });
}

TEST(JsonWriter, writesEmptyObjectsAndArraysOnOneLine) {
    EXPECT_EQ(written([](JsonWriter& json) {
                  json.beginObject();
                  json.endObject();
              }),
              "{}");
    EXPECT_EQ(written([](JsonWriter& json) {
                  json.beginObject();
                  json.key("a");
                  json.beginArray();
                  json.endArray();
                  json.key("b");
                  json.beginObject();
                  json.endObject();
                  json.endObject();
              }),
              "{\n  \"a\": [],\n  \"b\": {}\n}");
}

TEST(JsonWriter, indentsTwoBlanksALevel) {
    const auto out = written([](JsonWriter& json) {
        json.beginArray();
        json.value(true);
        json.beginObject();
        json.member("a", std::int64_t{1});
        json.member("b", true);
        json.endObject();
        json.beginArray();
        json.null();
        json.endArray();
        json.endArray();
    });
    EXPECT_EQ(out, "[\n  true,\n  {\n    \"a\": 1,\n    \"b\": true\n  },\n  [\n    null\n  ]\n]");
    EXPECT_EQ(out, Json::parse(out).dump(2));
}

TEST(JsonWriter, writesAbsentAsNull) {
    const auto out = written([](JsonWriter& json) {
        json.beginArray();
        json.value(std::optional<std::int64_t>());
        json.value(std::optional<std::int64_t>(7));
        json.value(std::optional<std::string>("x"));
        json.endArray();
    });
    EXPECT_EQ(out, "[\n  null,\n  7,\n  \"x\"\n]");
}

TEST(JsonWriter, writesNumbersSoThatTheyReadBack) {
    const auto out = written([](JsonWriter& json) {
        json.beginArray();
        json.value(std::numeric_limits<std::int64_t>::min());
        json.value(std::numeric_limits<std::int64_t>::max());
        json.value(0.1);
        json.value(1772360430.25);
        json.value(1.0);
        json.value(1e300);
        json.value(5e-324);
        json.endArray();
    });
    EXPECT_EQ(
        out,
        "[\n  -9223372036854775808,\n  9223372036854775807,\n  0.1,\n  1772360430.25,\n  1,\n  1e+300,\n"
        "  5e-324\n]");
    const Json read = Json::parse(out);
    EXPECT_EQ(read[0], std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(read[3], 1772360430.25);
    EXPECT_EQ(read[6], 5e-324);
}

TEST(JsonWriter, escapesOnlyWhatMustBeEscaped) {
    EXPECT_EQ(text("a\"b\\c/d"), R"("a\"b\\c/d")");
    EXPECT_EQ(text("\b\f\n\r\t"), R"("\b\f\n\r\t")");
    EXPECT_EQ(text(std::string_view("\0\x01\x0b\x1f\x7f", 5)), "\"\\u0000\\u0001\\u000b\\u001f\x7f\"");
    EXPECT_EQ(text("ü € \U0001F600 \u2028"), "\"ü € \U0001F600 \u2028\"");
}

TEST(JsonWriter, writesBadBytesAsReplacementCharacters) {
    EXPECT_EQ(text("a\xff"
                   "b"),
              "\"a\uFFFDb\"");
    EXPECT_EQ(written([](JsonWriter& json) {
                  json.beginObject();
                  json.member("k\x80", "v\xc3");
                  json.endObject();
              }),
              "{\n  \"k\uFFFD\": \"v\uFFFD\"\n}");
}

TEST(JsonWriterDeathTest, keysMustAscend) {
    std::string out;
    JsonWriter json(out);
    json.beginObject();
    json.member("b", true);
    EXPECT_DEATH(json.key("b"), "don't ascend");
    EXPECT_DEATH(json.key("a"), "don't ascend");
    json.member("b\x80", true);  // bytes compare unsigned
}

TEST(JsonWriterDeathTest, refusesWhatIsNoDocument) {
    std::string out;
    JsonWriter json(out);
    EXPECT_DEATH(json.key("a"), "outside an object");
    EXPECT_DEATH(json.endArray(), "isn't open");
    EXPECT_DEATH(json.value(std::numeric_limits<double>::infinity()), "isn't finite");
    json.beginObject();
    EXPECT_DEATH(json.value(true), "no key");
    EXPECT_DEATH(json.endArray(), "isn't open");
    json.key("a");
    EXPECT_DEATH(json.endObject(), "isn't open");
}

TEST(JsonWriter, writesWithoutWhiteSpaceWhereThatIsAskedFor) {
    std::string out;
    JsonWriter json(out, JsonWriter::Layout::compact);
    json.beginObject();
    json.key("a");
    json.beginArray();
    json.value(std::int64_t{1});
    json.value("b c");
    json.beginObject();
    json.endObject();
    json.endArray();
    json.member("d", 0.5);
    json.endObject();
    EXPECT_EQ(out, R"({"a":[1,"b c",{}],"d":0.5})");
}

TEST(JsonWriter, writesBytesInBase64) {
    EXPECT_EQ(written([](JsonWriter& json) {
                  json.beginArray();
                  json.base64("");
                  json.base64(std::string_view("\0\xFF", 2));
                  json.endArray();
              }),
              "[\n  \"\",\n  \"AP8=\"\n]");
}

TEST(JsonWriter, escapesAtEveryPlaceOfAText) {
    EXPECT_EQ(text("\"a\\b\n"), R"("\"a\\b\n")");
    EXPECT_EQ(text("plain"), R"("plain")");
    EXPECT_EQ(text("\"\""), R"("\"\"")");
}

}  // namespace
}  // namespace ledgerfern
