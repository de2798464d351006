#include "Options.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

const Usage report{"report", {}, ""};
const Usage session{"session", {}, "PATH|ID", true, CacheUse::never};
const Usage parity{"parity", {}, "", true, CacheUse::named};
const Usage dump{"dump", {{"--full", "", "…"}}, ""};

Options read(const Usage& usage, const std::vector<std::string>& arguments) {
    const auto result = readOptions(usage, arguments);
    if (const auto* error = std::get_if<UsageError>(&result)) {
        ADD_FAILURE() << error->sentence;
        return {};
    }
    return std::get<Options>(result);
}

std::string errorOf(const Usage& usage, const std::vector<std::string>& arguments) {
    const auto result = readOptions(usage, arguments);
    const auto* error = std::get_if<UsageError>(&result);
    return error ? error->sentence : "";
}

TEST(Options, areTheUsualOnesWithoutArguments) {
    const Options options = read(report, {});
    EXPECT_TRUE(options.codexRoots.empty());
    EXPECT_FALSE(options.now);
    EXPECT_FALSE(options.finish);
    EXPECT_FALSE(options.defaultPrices);
    EXPECT_FALSE(options.full);
    EXPECT_EQ(options.color, ColorMode::automatic);
}

TEST(Options, takeAllThatAreCommon) {
    const Options options = read(report, {"--codex", "a", "--now=1.5", "--codex=b", "--finish", "--cache",
                                          "c", "--color", "never", "--default-prices"});
    EXPECT_EQ(options.codexRoots, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(options.now, 1.5);
    EXPECT_TRUE(options.finish);
    EXPECT_TRUE(options.defaultPrices);
    EXPECT_EQ(options.color, ColorMode::never);
}

TEST(Options, takeAFolderOfAnyName) {
    EXPECT_EQ(read(report, {"--codex", "[a,b]"}).codexRoots, std::vector<std::string>{"[a,b]"});
    EXPECT_EQ(read(report, {"--codex", "a b\xff"}).codexRoots, std::vector<std::string>{"a b\xff"});
}

TEST(Options, knowFullForTheDumpAlone) {
    EXPECT_TRUE(read(dump, {"--full"}).full);
    EXPECT_EQ(errorOf(report, {"--full"}),
              "report has no option “--full”; “ledgerfern-cli report --help” lists those it has");
}

TEST(Options, readInstantsInDecimal) {
    EXPECT_EQ(readNow("1772409600"), 1772409600.0);
    EXPECT_EQ(readNow("+5"), 5.0);
    EXPECT_EQ(readNow("-0.25"), -0.25);
    for (const char* bad : {"", "x", "1e5", "0x10", "nan", "inf", "1 2", "1-2", "--5", "+-5", " 5"})
        EXPECT_FALSE(readNow(bad)) << bad;
}

TEST(Options, readInstantsOfTheYears1To9999) {
    EXPECT_EQ(readNow("-62135596800"), -62135596800.0);
    EXPECT_FALSE(readNow("-62135596800.5"));
    EXPECT_EQ(readNow("253402300799.5"), 253402300799.5);
    EXPECT_FALSE(readNow("253402300800"));
}

TEST(Options, takeANegativeInstant) {
    EXPECT_EQ(read(report, {"--now", "-5"}).now, -5.0);
    EXPECT_EQ(read(report, {"--now", "-.5"}).now, -0.5);
}

TEST(Options, sayWhatAnInstantIs) {
    EXPECT_EQ(
        errorOf(report, {"--now", "soon"}),
        "--now “soon” is no instant; it takes decimal seconds since 1970 within the years 1 to 9999, such as "
        "1772409600");
}

TEST(Options, refuseACacheAndNone) {
    EXPECT_EQ(errorOf(report, {"--cache", "f", "--no-cache"}),
              "--cache and --no-cache exclude each other; give one");
    EXPECT_EQ(errorOf(report, {"--cache", ""}), "--cache needs the name of a file");
    EXPECT_EQ(errorOf(report, {"--cache", "f", "--cache", "g"}),
              "--cache is given more than once; it takes one value");
}

TEST(Options, useTheApplicationsCacheOnTheUsualFoldersAlone) {
    EXPECT_TRUE(read(report, {}).usesCache);
    EXPECT_EQ(read(report, {}).cacheFile, std::nullopt);
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"--no-cache"}, {"--codex", "a"}, {"--claude", "a"}, {"--finish"}}) {
        EXPECT_FALSE(read(report, arguments).usesCache) << arguments[0];
    }
    EXPECT_FALSE(read(parity, {}).usesCache);
}

TEST(Options, useACacheThatIsNamedWhateverElseIsAsked) {
    for (const Usage& usage : {report, parity}) {
        const Options options = read(usage, {"--finish", "--codex", "a", "--cache", "f"});
        EXPECT_TRUE(options.usesCache);
        EXPECT_EQ(options.cacheFile, "f");
    }
}

TEST(Options, useNoCacheWhereACommandNeverDoes) {
    EXPECT_FALSE(read(session, {"a"}).usesCache);
    EXPECT_FALSE(read(session, {"a", "--cache", "f"}).usesCache);
    EXPECT_FALSE(read(session, {"a", "--no-cache"}).usesCache);
}

TEST(Options, tellOfTheCacheWhatHoldsForTheCommand) {
    const auto meaningOf = [](const Usage& usage, std::string_view name) {
        for (const OptionText& option : usage.options())
            if (option.name == name) return std::string(option.meaning);
        return std::string();
    };
    EXPECT_EQ(meaningOf(report, "--no-cache").substr(0, 34), "Read all logs, and keep nothing. W");
    EXPECT_EQ(meaningOf(parity, "--no-cache"), "Changes nothing: without --cache, nothing is kept.");
    EXPECT_EQ(meaningOf(parity, "--cache").substr(0, 12), "Keep in FILE");
    for (const auto* const name : {"--cache", "--no-cache"})
        EXPECT_EQ(meaningOf(session, name), "Changes nothing: all logs are read, and nothing is kept.");
}

TEST(Options, refuseOneThatIsGivenTwice) {
    EXPECT_EQ(errorOf(report, {"--now", "1", "--now", "2"}),
              "--now is given more than once; it takes one value");
}

TEST(Options, sayWhatValueIsMissing) {
    EXPECT_EQ(errorOf(report, {"--codex"}), "--codex needs a value: --codex DIR");
    EXPECT_EQ(errorOf(report, {"--codex", ""}), "--codex needs the name of a folder");
    EXPECT_EQ(errorOf(report, {"--cache"}), "--cache needs a value: --cache FILE");
    EXPECT_EQ(errorOf(report, {"--color"}), "--color needs a value: --color WHEN");
}

TEST(Options, refuseAnUnknownColour) {
    EXPECT_EQ(errorOf(report, {"--color", "red"}),
              "--color “red” is unknown; it takes auto, always or never");
}

TEST(Options, nameTheOneThatWasMeant) {
    EXPECT_EQ(errorOf(report, {"--codx", "a"}), "report has no option “--codx”; did you mean “--codex”?");
    EXPECT_EQ(errorOf(report, {"--finsih"}), "report has no option “--finsih”; did you mean “--finish”?");
}

TEST(Options, refuseThoseThatTheCommandDoesNotKnow) {
    for (const char* name : {"--json", "--status", "--limit"})
        EXPECT_TRUE(errorOf(dump, {name}).starts_with("dump has no option “" + std::string(name) + "”"))
            << name;
}

TEST(Options, takeOneOperandWhereThereIsOne) {
    EXPECT_EQ(read(session, {"--finish", "abc"}).operand, "abc");
    EXPECT_EQ(read(session, {"--", "-abc"}).operand, "-abc");
    EXPECT_EQ(errorOf(session, {}), "session needs one argument: ledgerfern-cli session PATH|ID");
    EXPECT_EQ(errorOf(session, {"a", "b"}), "session doesn't take “b”; see “ledgerfern-cli session --help”");
    EXPECT_EQ(errorOf(report, {"a"}), "report doesn't take “a”; see “ledgerfern-cli report --help”");
}

TEST(Options, lookAtNothingElseWhereHelpIsAskedFor) {
    EXPECT_TRUE(read(session, {"--help", "--bogus"}).showsHelp);
    EXPECT_TRUE(read(session, {"-h"}).showsHelp);
    EXPECT_TRUE(read(session, {"--version"}).showsVersion);
}

TEST(NearMiss, isOneSlipAwayOrTwoInALongWordWithTheSameStart) {
    const std::vector<std::string_view> names = {"report", "limits", "session"};
    EXPECT_EQ(nearMiss("reprot", names), "report");
    EXPECT_EQ(nearMiss("limit", names), "limits");
    EXPECT_EQ(nearMiss("sesion", names), "session");
    EXPECT_EQ(nearMiss("rport", names), "report");
    EXPECT_EQ(nearMiss("rprot", names), "report");
    EXPECT_EQ(nearMiss("export", names), std::nullopt);
    EXPECT_EQ(nearMiss("", names), std::nullopt);
    EXPECT_EQ(nearMiss(std::string(100000, 'x'), names), std::nullopt);
}

TEST(NearMiss, takesNoOtherWordForAShortOne) {
    const std::vector<std::string_view> names = {"dump", "--full", "--codex", "--cache"};
    EXPECT_EQ(nearMiss("dmup", names), "dump");
    EXPECT_EQ(nearMiss("dum", names), "dump");
    EXPECT_EQ(nearMiss("--ful", names), "--full");
    for (const char* other : {"demo", "du", "damn", "--fuse", "--cat", "--code-x1"})
        EXPECT_EQ(nearMiss(other, names), std::nullopt) << other;
}

}  // namespace
}  // namespace ledgerfern
