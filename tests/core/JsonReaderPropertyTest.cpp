#include <gtest/gtest.h>

#include <string>

#include "Foundation/JsonReader.h"
#include "core/JsonReference.h"
#include "core/RandomJson.h"

namespace ledgerfern {
namespace {

void expectAgreement(JsonReader& reader, const std::string& text) {
    EXPECT_TRUE(reference::agree(text, reader.read(text))) << text;
    const std::string padded = text + std::string(JsonReader::padding, '1');
    EXPECT_TRUE(reference::agree(text, reader.readPadded(std::string_view(padded).substr(0, text.size()))))
        << text;
}

TEST(JsonReaderProperty, readsRandomDocumentsAsTheReferenceDoes) {
    JsonReader reader;
    for (std::uint64_t seed = 0; seed < 4000 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomJson random(seed);
        const std::string text = random.document();
        EXPECT_TRUE(reference::read(text)) << text;
        expectAgreement(reader, text);
    }
}

TEST(JsonReaderProperty, readsDamagedDocumentsAsTheReferenceDoes) {
    JsonReader reader;
    int invalid = 0;
    for (std::uint64_t seed = 0; seed < 8000 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomJson random(seed);
        const std::string text = random.damaged(random.document());
        invalid += reference::read(text) ? 0 : 1;
        expectAgreement(reader, text);
    }
    // Both sorts must have come by for the comparison to mean something.
    EXPECT_GT(invalid, 1000);
    EXPECT_LT(invalid, 7000);
}

TEST(JsonReaderProperty, everyTruncationIsReadAsTheReferenceDoes) {
    JsonReader reader;
    const std::string text =
        R"( {"a":[1,-2.5e3,18446744073709551616,1e400,"\ud83d\ude00\ud83d\\"],"a":{"é":null},"b":[true,false,[]]} )";
    for (std::size_t length = 0; length <= text.size(); ++length)
        expectAgreement(reader, text.substr(0, length));
}

}  // namespace
}  // namespace ledgerfern
