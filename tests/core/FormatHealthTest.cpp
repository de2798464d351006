#include "Engine/FormatHealth.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

using FormatHealth::ClaudeEntry;
using FormatHealth::CodexEntry;

std::vector<std::string> warnings(const std::vector<ClaudeEntry>& claude,
                                  const std::vector<CodexEntry>& codex) {
    return FormatHealth::warnings(claude, codex);
}

bool isSuspect(ClaudeEntry entry) {
    return !warnings({entry}, {}).empty();
}
bool isSuspect(CodexEntry entry) {
    return !warnings({}, {entry}).empty();
}

TEST(FormatHealth, nothingToLookAtIsNothingWrong) {
    EXPECT_TRUE(warnings({}, {}).empty());
}

TEST(FormatHealth, aClaudeSessionNeedsFourRepliesWithoutUsageAndMoreThanTwiceItsRequests) {
    EXPECT_FALSE(isSuspect(ClaudeEntry{1, 3}));
    EXPECT_FALSE(isSuspect(ClaudeEntry{0, 3}));
    EXPECT_FALSE(isSuspect(ClaudeEntry{2, 4}));
    EXPECT_TRUE(isSuspect(ClaudeEntry{2, 5}));
    EXPECT_TRUE(isSuspect(ClaudeEntry{0, 4}));
    EXPECT_FALSE(isSuspect(ClaudeEntry{3, 6}));
    EXPECT_TRUE(isSuspect(ClaudeEntry{3, 7}));
    EXPECT_FALSE(isSuspect(ClaudeEntry{INT64_MAX, INT64_MAX}));
}

TEST(FormatHealth, aCodexSessionNeedsItsMetaAndTenItemsAndNoRequest) {
    EXPECT_FALSE(isSuspect(CodexEntry{true, false, 9}));
    EXPECT_TRUE(isSuspect(CodexEntry{true, false, 10}));
    EXPECT_FALSE(isSuspect(CodexEntry{false, false, 100}));
    EXPECT_FALSE(isSuspect(CodexEntry{true, true, 100}));
}

TEST(FormatHealth, oneSuspectSessionOfEachToolGivesTwoSentencesClaudeCodeFirst) {
    EXPECT_EQ(
        warnings({{2, 5}, {2, 4}}, {{true, false, 9}, {true, false, 10}}),
        (std::vector<std::string>{
            "1 recent Claude Code session have replies without token counts Ledgerfern can read — Claude "
            "Code "
            "may have changed its log format.",
            "1 recent Codex session have activity but no token counts Ledgerfern can read — Codex may have "
            "changed its log format."}));
}

TEST(FormatHealth, severalSessionsAreInThePlural) {
    EXPECT_EQ(
        warnings({{0, 4}, {0, 4}}, {{true, false, 10}, {true, false, 11}, {true, false, 12}}),
        (std::vector<std::string>{
            "2 recent Claude Code sessions have replies without token counts Ledgerfern can read — Claude "
            "Code "
            "may have changed its log format.",
            "3 recent Codex sessions have activity but no token counts Ledgerfern can read — Codex may have "
            "changed its log format."}));
}

}  // namespace
}  // namespace ledgerfern
