#include "Foundation/Pieces.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

TEST(Pieces, emptyPiecesAreDropped) {
    const Pieces<3> pieces("--a--b-", '-');
    EXPECT_EQ(pieces.count, 2u);
    EXPECT_EQ(pieces.kept[0], "a");
    EXPECT_EQ(pieces.kept[1], "b");
    EXPECT_EQ(Pieces<1>("", '-').count, 0u);
    EXPECT_EQ(Pieces<1>("---", '-').count, 0u);
}

TEST(Pieces, allAreCountedAndTheFirstAreKept) {
    const Pieces<2> pieces("a:b:c:d", ':');
    EXPECT_EQ(pieces.count, 4u);
    EXPECT_EQ(pieces.kept[1], "b");
}

TEST(Pieces, aPieceIsTakenOffTheText) {
    std::string_view text = "  git  status ";
    EXPECT_EQ(takePiece(text, ' '), "git");
    EXPECT_EQ(text, "  status ");
    EXPECT_EQ(takePiece(text, ' '), "status");
    EXPECT_EQ(takePiece(text, ' '), std::nullopt);
    EXPECT_EQ(text, "");
    EXPECT_EQ(takePiece(text, ' '), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
