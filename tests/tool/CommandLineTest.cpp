#include "CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Commands.h"
#include "Foundation/UnicodeText.h"
#include "Help.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome run(const std::vector<std::string>& arguments) {
    TextConsole text;
    const int status = runCommandLine(arguments, text.console);
    return {status, text.out.text(), text.err.text()};
}

TEST(CommandLine, printsItsVersion) {
    for (const auto& arguments : {std::vector<std::string>{"--version"}, {"dump", "--version"}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, "1.6.0\n");
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(CommandLine, refusesAnUnknownCommand) {
    const Outcome outcome = run({"foo"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "ledgerfern-cli: there is no command “foo”; those there are: report, sessions, projects, "
              "project, daily, cycles, insights, limits, session, export, parity, dump, watch and demo\n");
    EXPECT_EQ(run({"dmup"}).err, "ledgerfern-cli: there is no command “dmup”; did you mean “dump”?\n");
    EXPECT_EQ(run({""}).status, 2);
}

TEST(CommandLine, tellsBadUsageInOneLineWhateverWasTyped) {
    const Outcome outcome = run({"a\n\x1b[31mb\xff"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("ledgerfern-cli: there is no command “a \uFFFD[31mb\uFFFD”; "));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
}

TEST(CommandLine, runsTheReportWhereNoCommandIsNamed) {
    const LogFolder folder;
    const Outcome outcome = run({"--codex", folder.path()});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("No session logs were found below"));
    EXPECT_EQ(outcome.out, run({"report", "--codex", folder.path()}).out);
    EXPECT_THAT(run({"--bogus"}).err, HasSubstr("report has no option “--bogus”"));
}

TEST(CommandLine, takesTheCommandBehindItsOptionsToo) {
    const LogFolder folder;
    EXPECT_EQ(run({"--now", "5", "--codex", folder.path(), "dump"}).out,
              run({"dump", "--codex=" + folder.path(), "--now=5"}).out);
    EXPECT_EQ(run({"--full", "--now", "5", "--codex", folder.path(), "dump"}).out,
              run({"dump", "--full", "--codex=" + folder.path(), "--now=5"}).out);
    EXPECT_EQ(run({"--help", "dump"}).out, run({"dump", "--help"}).out);
}

TEST(CommandLine, blamesTheCommandThatIsMeant) {
    EXPECT_EQ(run({"--full", "report"}).err,
              "ledgerfern-cli: report has no option “--full”; “ledgerfern-cli report --help” lists those it "
              "has\n");
    EXPECT_THAT(run({"--bogus", "dump"}).err, HasSubstr("dump has no option “--bogus”"));
    EXPECT_THAT(run({"parity", "--scope", "all"}).err, HasSubstr("parity has no option “--scope”"));
    EXPECT_THAT(run({"dump", "--json"}).err, HasSubstr("dump has no option “--json”"));
    EXPECT_THAT(run({"limits", "--sort", "name"}).err, HasSubstr("limits has no option “--sort”"));
    EXPECT_THAT(run({"--full"}).err, HasSubstr("report has no option “--full”"));
    EXPECT_THAT(run({"--", "dump"}).err, HasSubstr("report doesn't take “dump”"));
}

TEST(CommandLine, explainsEachCommandWithAnExample) {
    const std::string all = run({"--help"}).out;
    for (const Command& command : commands()) {
        const std::string name(command.usage.command);
        const Outcome outcome = run({name, "--help"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Usage: ledgerfern-cli " + name));
        EXPECT_THAT(outcome.out, HasSubstr("Example:\n  ledgerfern-cli " + name));
        EXPECT_THAT(all, HasSubstr("\n  ledgerfern-cli " + name));
        for (const OptionText& option : command.usage.options())
            EXPECT_THAT(outcome.out, HasSubstr(std::string(option.name)));
    }
}

TEST(CommandLine, fitsItsHelpIntoNarrowTerminals) {
    for (const std::size_t width : {40u, 80u, 200u}) {
        std::string all = programHelp(width);
        for (const Command& command : commands())
            all += commandHelp(command, width);
        std::istringstream lines(all);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(displayWidth(line), width) << line;
    }
}

TEST(CommandLine, endsWellWhereNobodyReads) {
    TextConsole text;
    text.out.outcome = {Written::Outcome::closed, ""};
    EXPECT_EQ(runCommandLine({"--version"}, text.console), 0);
    EXPECT_EQ(text.err.text(), "");
}

TEST(CommandLine, failsWhereTheResultCannotBeWritten) {
    TextConsole text;
    text.out.outcome = {Written::Outcome::failed, "No space left on device"};
    EXPECT_EQ(runCommandLine({"--version"}, text.console), 1);
    EXPECT_EQ(text.err.text(), "ledgerfern-cli: can't write to standard output: No space left on device\n");
}

}  // namespace
}  // namespace ledgerfern
