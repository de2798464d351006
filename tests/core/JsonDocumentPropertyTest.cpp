#include <gtest/gtest.h>

#include "Foundation/JsonDocument.h"
#include "Foundation/JsonReader.h"
#include "core/JsonReference.h"
#include "core/RandomJson.h"

namespace ledgerfern {
namespace {

/// A document is read where the fast reader takes it for JSON, and what is written of it reads as the same.
void expectToComeBack(JsonReader& reader, const std::string& text) {
    JsonErrorPlace place{0, 0};
    const auto document = readJsonDocument(text, place);
    ASSERT_EQ(document.has_value(), reader.read(text).has_value()) << text;
    EXPECT_EQ(place.line == 0, document.has_value()) << text;
    if (document) {
        EXPECT_EQ(readJsonDocument(jsonText(*document), place), document) << text;
    }
}

TEST(JsonDocumentProperty, whatIsJsonComesBack) {
    JsonReader reader;
    for (std::uint64_t seed = 0; seed < 4000 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomJson random(seed);
        const std::string text = random.document();
        expectToComeBack(reader, text);
        expectToComeBack(reader, random.damaged(text));
    }
}

TEST(JsonDocumentProperty, whatIsWrittenMeansTheSame) {
    JsonReader reader;
    std::string normalised;
    for (std::uint64_t seed = 0; seed < 2000 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        const std::string random = RandomJson(seed).document();
        // Different halves of surrogate pairs would be the same key to the reader.
        const std::string text = normaliseJson(random, normalised) ? normalised : random;
        JsonErrorPlace place;
        const auto document = readJsonDocument(text, place);
        ASSERT_TRUE(document) << text;
        const auto expected = reference::read(text);
        ASSERT_TRUE(expected) << text;
        const auto written = reader.read(jsonText(*document));
        ASSERT_TRUE(written) << text;
        EXPECT_TRUE(reference::equal(*expected, *written)) << text;
    }
}

}  // namespace
}  // namespace ledgerfern
