#include "Analytics/SessionNaming.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

using Names = std::map<std::string, std::string>;

SessionResult codexSession() {
    SessionResult session;
    session.path = "/logs/a.jsonl";
    session.project = "fern";
    return session;
}

SessionResult claudeSession() {
    SessionResult session = codexSession();
    session.tool = ToolKind::claudeCode;
    return session;
}

TEST(SessionKind, aPlainSessionIsItsTool) {
    EXPECT_EQ(SessionKind::label(codexSession()), "Codex");
    EXPECT_EQ(SessionKind::label(claudeSession()), "Claude Code");
}

TEST(SessionKind, aClaudeSessionIsASubAgentByItsFlagAlone) {
    SessionResult session = claudeSession();
    session.source.nickname = "Euler";
    session.source.isGuardian = true;
    session.model = "codex-auto-review";
    EXPECT_EQ(SessionKind::label(session), "Claude Code");
    session.source.isSubagent = true;
    EXPECT_EQ(SessionKind::label(session), "Claude Code sub-agents");
}

TEST(SessionKind, aCodexSessionIsASubAgentByItsFlagOrItsNickname) {
    SessionResult session = codexSession();
    session.source.nickname = "Euler";
    EXPECT_EQ(SessionKind::label(session), "Codex sub-agents");
    session.source.nickname = std::nullopt;
    session.source.isSubagent = true;
    EXPECT_EQ(SessionKind::label(session), "Codex sub-agents");
}

TEST(SessionKind, aReviewIsAGuardianOrHasTheReviewModel) {
    SessionResult session = codexSession();
    session.model = "codex-auto-review";
    EXPECT_EQ(SessionKind::label(session), "Codex auto-review");
    session.model = "codex-auto-review-2";
    EXPECT_EQ(SessionKind::label(session), "Codex");
    session.source.isGuardian = true;
    session.source.isSubagent = true;
    EXPECT_EQ(SessionKind::label(session), "Codex auto-review");
}

TEST(SessionNaming, aGuardianHasAFixedName) {
    SessionResult session = codexSession();
    session.source.isGuardian = true;
    session.firstMessage = "hello";
    EXPECT_EQ(SessionNaming::displayName(session, {}, {{session.path, "mine"}}), "guardian (subagent)");
}

TEST(SessionNaming, aNameOfThePathWinsOverOneOfTheThread) {
    const SessionResult session = codexSession();
    const Names ids = {{session.path, "t1"}};
    EXPECT_EQ(SessionNaming::displayName(session, ids, {{session.path, "by path"}, {"t1", "by thread"}}),
              "by path");
    EXPECT_EQ(SessionNaming::displayName(session, ids, {{"t1", "by thread"}}), "by thread");
    EXPECT_EQ(SessionNaming::displayName(session, {}, {{"t1", "by thread"}}), "fern");
}

TEST(SessionNaming, anEmptyNameIsNoName) {
    SessionResult session = codexSession();
    session.firstMessage = "hello";
    const Names ids = {{session.path, "t1"}};
    EXPECT_EQ(SessionNaming::displayName(session, ids, {{session.path, ""}, {"t1", "by thread"}}),
              "by thread");
    EXPECT_EQ(SessionNaming::displayName(session, ids, {{session.path, ""}, {"t1", ""}}), "hello");
}

TEST(SessionNaming, withoutANameTheFirstMessageThenTheNicknameThenTheProjectIsShown) {
    SessionResult session = codexSession();
    session.source.nickname = "Euler";
    session.firstMessage = "";
    EXPECT_EQ(SessionNaming::displayName(session, {}, {}), "");  // present, if empty
    session.firstMessage = std::nullopt;
    EXPECT_EQ(SessionNaming::displayName(session, {}, {}), "agent Euler");
    session.source.nickname = std::nullopt;
    EXPECT_EQ(SessionNaming::displayName(session, {}, {}), "fern");
    session.project = "?";
    EXPECT_EQ(SessionNaming::displayName(session, {}, {}), "?");
}

}  // namespace
}  // namespace ledgerfern
