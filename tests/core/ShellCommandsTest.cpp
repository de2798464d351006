#include "Parsing/ShellCommands.h"

#include <gtest/gtest.h>

#include "Parsing/ShellCommandTable.h"

namespace ledgerfern {
namespace {

using RolloutParser::shellCategoryLabel;

std::optional<std::string> label(std::optional<std::string_view> command) {
    const auto category = shellCategoryLabel(command);
    if (!category) return std::nullopt;
    return category->label;
}

bool isWrite(std::string_view command) {
    return shellCategoryLabel(command).value().isWrite;
}

TEST(ShellCommands, gitIsLabelledByItsSubcommand) {
    EXPECT_EQ(label("git push origin main"), "Shell · Git · push");
    EXPECT_TRUE(isWrite("git push origin main"));
    EXPECT_EQ(label("git status"), "Shell · Git · status");
    EXPECT_FALSE(isWrite("git status"));
    EXPECT_EQ(label("git"), "Shell · Git · git");
    EXPECT_FALSE(isWrite("git"));
    EXPECT_EQ(label("git -C repo status"), "Shell · Git · -c") << "options aren't skipped";
    EXPECT_EQ(label("git \"a b\""), "Shell · Git · \"a");
}

TEST(ShellCommands, eightGitSubcommandsWrite) {
    for (const char* sub : {"commit", "push", "merge", "rebase", "reset", "clean", "apply", "am"})
        EXPECT_TRUE(isWrite(std::string("git ") + sub)) << sub;
    for (const char* sub : {"add", "checkout", "stash", "tag", "pull", "amend", "a"})
        EXPECT_FALSE(isWrite(std::string("git ") + sub)) << sub;
}

TEST(ShellCommands, pathsAndUpperCaseAreTakenOff) {
    EXPECT_EQ(label("/usr/bin/GIT Commit"), "Shell · Git · commit");
    EXPECT_TRUE(isWrite("/usr/bin/GIT Commit"));
    EXPECT_EQ(label("./gradlew build"), "Shell · Other commands · gradlew");
    EXPECT_EQ(label("/usr/bin/make/ all"), "Shell · Builds · make");
    EXPECT_EQ(label("/ x"), "Shell · Other commands");
    EXPECT_EQ(label("ma\u212Ae"), "Shell · Builds · make") << "the Kelvin sign's lower case is k";
}

TEST(ShellCommands, sudoIsLookedThroughOnce) {
    EXPECT_EQ(label("sudo npm install"), "Shell · Package installs · npm");
    EXPECT_EQ(label("sudo"), "Shell · Other commands · sudo");
    EXPECT_EQ(label("sudo sudo make"), "Shell · Other commands · sudo");
    EXPECT_EQ(label("/usr/bin/SUDO /usr/bin/Git push"), "Shell · Git · push");
    EXPECT_TRUE(isWrite("sudo git push"));
    EXPECT_EQ(label("sudo A=1 make"), "Shell · Other commands") << "no assignments are dropped behind sudo";
}

TEST(ShellCommands, noOtherWrapperIsLookedThrough) {
    EXPECT_EQ(label("cd src && cargo build"), "Shell · Other commands · cd");
    EXPECT_EQ(label("bash -lc 'git status'"), "Shell · Other commands · bash");
    EXPECT_EQ(label("env A=1 make"), "Shell · Other commands · env");
}

TEST(ShellCommands, leadingAssignmentsAreDropped) {
    EXPECT_EQ(label("FOO=1 BAR=2 npm test"), "Shell · Tests");
    EXPECT_EQ(label("_a9= X=a=b make"), "Shell · Builds · make");
    EXPECT_EQ(label("FOO=1"), std::nullopt);
    EXPECT_EQ(label("FOO=1 ; make"), std::nullopt);
    EXPECT_EQ(label("9A=1 make"), "Shell · Other commands") << "a name doesn't start with a digit";
    EXPECT_EQ(label("=1 make"), "Shell · Other commands");
    EXPECT_EQ(label("a-b=1 make"), "Shell · Other commands");
    EXPECT_EQ(label("\u00C4=1 make"), "Shell · Other commands");
    EXPECT_EQ(label("make A=1"), "Shell · Builds · make");
}

TEST(ShellCommands, noCommandHasNoLabel) {
    EXPECT_EQ(label(std::nullopt), std::nullopt);
    EXPECT_EQ(label(""), std::nullopt);
    EXPECT_EQ(label("   "), std::nullopt);
    EXPECT_EQ(label(" ; make"), std::nullopt) << "a segment of blanks is the first";
}

TEST(ShellCommands, onlyTheFirstCommandOfAChainCounts) {
    EXPECT_EQ(label("cat a.txt | grep b"), "Shell · File & text reads · cat");
    EXPECT_EQ(label(";;&|git status"), "Shell · Git · status") << "empty pieces are dropped";
    EXPECT_EQ(label("git&push"), "Shell · Git · git");
    EXPECT_EQ(label("'git;status'"), "Shell · Other commands") << "quotes aren't respected";
    EXPECT_EQ(label(";|&"), "Shell · Other commands") << "no piece at all: the command itself is the word";
}

TEST(ShellCommands, onlyBlanksSeparateTokens) {
    EXPECT_EQ(label("  git   push  "), "Shell · Git · push");
    EXPECT_EQ(label("git\tpush"), "Shell · Other commands");
    EXPECT_EQ(label("make\n"), "Shell · Other commands");
}

TEST(ShellCommands, packageManagersAreLabelledByTheirArgument) {
    for (const std::string word : {"npm", "pnpm", "yarn"}) {
        EXPECT_EQ(label(word + " test"), "Shell · Tests");
        EXPECT_EQ(label(word + " TEST"), "Shell · Tests");
        for (const char* sub : {"install", "i", "ci", "uninstall", "add", "remove"})
            EXPECT_EQ(label(word + " " + sub), "Shell · Package installs · " + word);
        EXPECT_EQ(label(word + " run test"), "Shell · Package scripts · " + word);
        EXPECT_EQ(label(word), "Shell · Package scripts · " + word);
    }
}

TEST(ShellCommands, fileChangesAreNoWrites) {
    EXPECT_EQ(label("rm -rf build"), "Shell · File changes");
    EXPECT_FALSE(isWrite("rm -rf build"));
    EXPECT_FALSE(isWrite("rm commit"));
}

TEST(ShellCommands, oddAndOverlongWordsStayOutOfTheLabels) {
    EXPECT_EQ(label(std::string(24, 'a')), "Shell · Other commands · " + std::string(24, 'a'));
    EXPECT_EQ(label(std::string(25, 'a')), "Shell · Other commands");
    EXPECT_EQ(label("a_b.c+d-9 x"), "Shell · Other commands · a_b.c+d-9");
    for (const char* word : {"9a", "_a", "-a", ".a", "a$b", "(make)", "\"make\"", "t\u00E4st", "\xFF"})
        EXPECT_EQ(label(word), "Shell · Other commands") << word;
}

TEST(ShellCommands, toolScriptingComesFirst) {
    EXPECT_EQ(label("await tools.read_file(x)"), "Shell · Tool scripting");
    for (const char* mark :
         {"await tools.", "nodeRepl", "mcp__node_repl", "await browser.", "await chrome."}) {
        EXPECT_EQ(label(std::string("git push ") + mark + "x"), "Shell · Tool scripting") << mark;
        EXPECT_FALSE(isWrite(std::string("git push; ") + mark)) << mark;
    }
    EXPECT_EQ(label("git noderepl"), "Shell · Git · noderepl") << "the marks are case-sensitive";
    EXPECT_EQ(label("await tools"), "Shell · Other commands · await");
}

TEST(ShellCommands, everyWordOfTheTableHasItsLabel) {
    struct Row {
        std::string label;
        bool withWord;
        std::vector<std::string> words;
    };
    const std::vector<Row> rows = {
        {"Shell · Builds",
         true,
         {"xcodebuild", "xcrun", "tuist", "gradle", "make", "cmake", "swift", "cargo"}},
        {"Shell · Tests", false, {"pytest", "vitest", "jest"}},
        {"Shell · File & text reads",
         true,
         {"cat", "head", "tail", "ls", "find", "grep", "rg", "stat", "wc", "file", "du", "diff", "sort",
          "uniq", "awk", "sed", "which", "strings"}},
        {"Shell · File changes",
         false,
         {"rm", "mv", "cp", "mkdir", "rmdir", "touch", "chmod", "chown", "ln", "tee", "plutil", "defaults"}},
        {"Shell · Network", true, {"curl", "wget", "ping", "ssh", "scp", "nc", "dig", "dns-sd"}},
        {"Shell · Package installs", true, {"brew", "pod", "gem", "pip", "pip3"}},
        {"Shell · Scripts & REPLs", true, {"node", "python3", "python", "ruby", "perl", "osascript"}},
        {"Shell · System & apps",
         false,
         {"ps", "kill", "killall", "launchctl", "scutil", "sysctl", "uptime", "hostname", "whoami", "open",
          "pbcopy", "pbpaste", "sw_vers", "uname"}},
        {"Shell · Other commands", true, {"a", "gits", "mak", "zsh", "python2", "tsc"}},
    };
    for (const Row& row : rows)
        for (const std::string& word : row.words)
            EXPECT_EQ(label(word + " test"), row.withWord ? row.label + " · " + word : row.label);
}

TEST(ShellCommands, aWordOutsideTheTableIsOfNoFamily) {
    EXPECT_EQ(shellFamily("git"), ShellFamily::git);
    EXPECT_EQ(shellFamily("yarn"), ShellFamily::packageManager);
    for (const char* word : {"", "a", "gi", "gitt", "zzz"})
        EXPECT_EQ(shellFamily(word), ShellFamily::other) << word;
}

class CommandStringTest : public testing::Test {
protected:
    std::optional<std::string> command(std::string_view payload) {
        return RolloutParser::commandString(asObject(reader.read(payload)), argumentsReader);
    }

    JsonReader reader;
    JsonReader argumentsReader;
};

TEST_F(CommandStringTest, argumentsAreReadAsJson) {
    EXPECT_EQ(command(R"({"arguments":"{\"cmd\":[\"git\",\"status\"]}"})"), "git status");
    EXPECT_EQ(command(R"({"arguments":"{\"cmd\":\"ls -la\"}"})"), "ls -la");
    EXPECT_EQ(command(R"({"arguments":"{\"\\u0063m\\u0064\":\"ls\"}"})"), "ls");
}

TEST_F(CommandStringTest, argumentsThatAreNoObjectGiveNothing) {
    for (const char* payload :
         {R"({"arguments":"[1]"})", R"({"arguments":"\"ls\""})", R"({"arguments":"ls"})",
          R"({"arguments":""})", R"({"arguments":{"cmd":"ls"}})", R"({"arguments":null})",
          R"({"arguments":"{\"cmd\":\"ls\"} x"})"})
        EXPECT_EQ(command(payload), std::nullopt) << payload;
}

TEST_F(CommandStringTest, anInputIsTheCommandOrHoldsIt) {
    EXPECT_EQ(command(R"({"input":"ls -la"})"), "ls -la");
    EXPECT_EQ(command(R"({"input":""})"), "");
    EXPECT_EQ(command(R"({"input":{"cmd":"ls"}})"), "ls");
    EXPECT_EQ(command(R"({"input":{"cmd":["ls","-l"]}})"), "ls -l");
}

TEST_F(CommandStringTest, anInputWinsEvenWhereItHoldsNoCommand) {
    for (const char* input : {"null", "1", "[\"ls\"]", "{}", "false"})
        EXPECT_EQ(command(std::string(R"({"arguments":"{\"cmd\":\"ls\"}","input":)") + input + "}"),
                  std::nullopt)
            << input;
    EXPECT_EQ(command(R"({"arguments":"{\"cmd\":\"ls\"}","input":"pwd"})"), "pwd");
}

TEST_F(CommandStringTest, onlyTheStringsOfAnArrayAreJoined) {
    EXPECT_EQ(command(R"({"input":{"cmd":["a",1,null,"b",["c"],""]}})"), "a b ");
    EXPECT_EQ(command(R"({"input":{"cmd":["","a"]}})"), " a");
    EXPECT_EQ(command(R"({"input":{"cmd":[]}})"), "");
    EXPECT_EQ(command(R"({"input":{"cmd":[1]}})"), "");
}

TEST_F(CommandStringTest, onlyCmdIsRead) {
    EXPECT_EQ(command(R"({"arguments":"{\"command\":[\"ls\"]}"})"), std::nullopt);
    EXPECT_EQ(command(R"({"input":{"cmd":{"cmd":"ls"}}})"), std::nullopt);
    EXPECT_EQ(command(R"({"cmd":"ls"})"), std::nullopt);
    EXPECT_EQ(RolloutParser::commandString(std::nullopt, argumentsReader), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
