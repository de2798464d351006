#include "Foundation/JsonWriter.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

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

void writeTree(JsonWriter& writer, const Json& tree) {
    if (tree.is_object()) {
        writer.beginObject();
        for (const auto& [key, value] : tree.items()) {
            writer.key(key);
            writeTree(writer, value);
        }
        writer.endObject();
    } else if (tree.is_array()) {
        writer.beginArray();
        for (const Json& value : tree)
            writeTree(writer, value);
        writer.endArray();
    } else if (tree.is_string()) {
        writer.value(tree.get<std::string>());
    } else {
        writer.value(tree.get<std::int64_t>());
    }
}

TEST(JsonWriterProperty, writesAnyTextSoThatItReadsBack) {
    EXPECT_TRUE(rc::check("a text of ASCII reads back", [] {
        const auto value = *rc::gen::container<std::string>(rc::gen::inRange<char>(0, 127));
        const auto out = text(value);
        RC_ASSERT(Json::parse(out) == Json(value));
        RC_ASSERT(out == Json(value).dump());
    }));
}

std::string shortText() {
    return *rc::gen::resize(8, rc::gen::container<std::string>(rc::gen::inRange<char>(0, 127)));
}

Json randomTree(int depth) {
    const int kind = *rc::gen::inRange(depth > 0 ? 0 : 2, 4);
    if (kind == 2) return shortText();
    if (kind == 3) return *rc::gen::arbitrary<std::int64_t>();
    Json tree = kind == 0 ? Json::object() : Json::array();
    for (int count = *rc::gen::inRange(0, 4); count > 0; --count)
        if (kind == 0)
            tree[shortText()] = randomTree(depth - 1);
        else
            tree.push_back(randomTree(depth - 1));
    return tree;
}

TEST(JsonWriterProperty, laysATreeOutLikeAnotherWriterOfTheSameForm) {
    EXPECT_TRUE(rc::check("the bytes are those of a sorted dump with two blanks", [] {
        const Json tree = randomTree(3);
        RC_ASSERT(written([&](JsonWriter& writer) { writeTree(writer, tree); }) == tree.dump(2));
    }));
}

}  // namespace
}  // namespace ledgerfern
