#include "Parsing/MarkerSearch.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace ledgerfern {
namespace {

constexpr std::array<std::string_view, 4> words = {"\"alpha\"", "\"beta_b\"", "\"al\"", "\"b\""};
using Search = MarkerSearch<words>;

/// The plain search that the fast one must agree with.
Search::Hit plainFirst(std::string_view line, std::size_t from) {
    Search::Hit best{Search::npos, 0};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::size_t position = line.find(words[i], from);
        if (position < best.position) best = {position, i};
    }
    return best;
}

void expectSame(std::string_view line, std::size_t from) {
    const auto expected = plainFirst(line, from);
    const auto actual = Search::first(line, from);
    EXPECT_EQ(actual.position, expected.position) << line << " from " << from;
    if (expected.position == Search::npos) return;
    EXPECT_EQ(actual.marker, expected.marker) << line;
}

TEST(MarkerSearch, findsAMarkerAtEveryPlaceOfALine) {
    for (std::size_t before = 0; before < 80; ++before)
        for (std::size_t after = 0; after < 40; ++after)
            for (const std::string_view word : words)
                expectSame(std::string(before, 'x') + std::string(word) + std::string(after, '"'), 0);
}

TEST(MarkerSearch, aCutMarkerIsNone) {
    for (std::size_t length = 0; length < 7; ++length)
        EXPECT_EQ(Search::first(std::string(16, 'x') + std::string("\"alpha\"").substr(0, length)).position,
                  Search::npos);
}

TEST(MarkerSearch, bytesBehindTheLineAreNoPartOfIt) {
    const std::string text = std::string(15, 'x') + "\"al\"";
    EXPECT_EQ(Search::first(std::string_view(text).substr(0, 18)).position, Search::npos);
    EXPECT_EQ(Search::first(text).position, 15U);
}

TEST(MarkerSearch, agreesWithAPlainSearchOnTextsOfItsOwnLetters) {
    std::mt19937 random(1);
    const std::string letters = "\"\"\"albeph_tx";
    for (int round = 0; round < 20'000; ++round) {
        std::string line(random() % 70, ' ');
        for (char& c : line)
            c = letters[random() % letters.size()];
        if (random() % 2) line.insert(random() % (line.size() + 1), words[random() % words.size()]);
        expectSame(line, random() % (line.size() + 1));
    }
}

}  // namespace
}  // namespace ledgerfern
