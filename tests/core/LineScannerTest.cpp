#include "Parsing/LineScanner.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace ledgerfern {
namespace {

using Lines = std::vector<std::string>;

/// The lines of `blocks`, scanned one after another.
Lines linesOf(const std::vector<std::string>& blocks, std::string& pending) {
    Lines lines;
    for (const std::string& block : blocks)
        LineScanner::scan(block, pending, [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

Lines linesOf(const std::vector<std::string>& blocks) {
    std::string pending;
    return linesOf(blocks, pending);
}

TEST(LineScanner, cutsAtLineFeedsAndKeepsTheUnfinishedRest) {
    std::string pending;
    EXPECT_EQ(linesOf({"one\ntwo\nthr"}, pending), (Lines{"one", "two"}));
    EXPECT_EQ(pending, "thr");
    EXPECT_EQ(linesOf({"ee\n"}, pending), (Lines{"three"}));
    EXPECT_EQ(pending, "");
}

TEST(LineScanner, anEmptyBlockChangesNothing) {
    std::string pending = "kept";
    EXPECT_EQ(linesOf({""}, pending), Lines{});
    EXPECT_EQ(pending, "kept");
}

TEST(LineScanner, aBlockWithoutALineFeedIsAddedToThePendingBytes) {
    std::string pending;
    EXPECT_EQ(linesOf({"a", "b", "c"}, pending), Lines{});
    EXPECT_EQ(pending, "abc");
}

TEST(LineScanner, passesOnEmptyLines) {
    EXPECT_EQ(linesOf({"\n\na\n\n"}), (Lines{"", "", "a", ""}));
}

TEST(LineScanner, removesOneCarriageReturnAtTheEndOnly) {
    EXPECT_EQ(linesOf({"a\r\nb\rc\nd\r\r\n\r\n\r\n"}), (Lines{"a", "b\rc", "d\r", "", ""}));
}

TEST(LineScanner, aLineEndCutByTheBlockEdgeComesOutWhole) {
    EXPECT_EQ(linesOf({"a\r", "\nb\r\n"}), (Lines{"a", "b"}));
    EXPECT_EQ(linesOf({"a", "\r\n"}), (Lines{"a"}));
    EXPECT_EQ(linesOf({"\r", "\n", "\n"}), (Lines{"", ""}));
}

TEST(LineScanner, aPendingLineMayComeOutAtTheVeryEndOfABlock) {
    std::string pending;
    EXPECT_EQ(linesOf({"ab", "c\n"}, pending), (Lines{"abc"}));
    EXPECT_EQ(pending, "");
}

TEST(LineScanner, everyCutOfABlockGivesTheSameLines) {
    const std::string text = "{\"a\":1}\r\n\r\n\ntext \xC3\xA4\n{\"b\":\"\r\"}\r\r\nrest";
    std::string wholePending;
    const Lines whole = linesOf({text}, wholePending);
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); ++second) {
            std::string pending;
            EXPECT_EQ(
                linesOf({text.substr(0, first), text.substr(first, second - first), text.substr(second)},
                        pending),
                whole);
            EXPECT_EQ(pending, wholePending);
        }
    }
}

TEST(LineScanner, whatTheConsumerThrowsPassesThrough) {
    std::string pending = "begun";
    Lines lines;
    const auto consume = [&](std::string_view line) {
        lines.emplace_back(line);
        if (lines.size() == 2) throw std::runtime_error("enough");
    };
    EXPECT_THROW(LineScanner::scan(" line\nsecond\nthird\nrest", pending, consume), std::runtime_error);
    EXPECT_EQ(lines, (Lines{"begun line", "second"}));
    EXPECT_EQ(pending, "");
}

TEST(LineScanner, aJoinedLineHasPaddingBehindIt) {
    std::string pending = "abc";
    LineScanner::scan("d\n", pending, [](std::string_view line) {
        // The sanitizer watches these reads.
        char sum = 0;
        for (std::size_t i = 0; i < LineScanner::padding; ++i)
            sum = static_cast<char>(sum | line.data()[line.size() + i]);
        EXPECT_EQ(sum, 0);
    });
}

TEST(LineScanner, containsIsAPlainSearch) {
    EXPECT_TRUE(LineScanner::contains("abcabd", "abd"));
    EXPECT_TRUE(LineScanner::contains("abd", "abd"));
    EXPECT_FALSE(LineScanner::contains("ab", "abd"));
    EXPECT_FALSE(LineScanner::contains("abcabc", "abd"));
    EXPECT_FALSE(LineScanner::contains("abc", ""));
    EXPECT_FALSE(LineScanner::contains("", ""));
}

}  // namespace
}  // namespace ledgerfern
