#include "Table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {
namespace {

const Palette noColor(false);

/// The widest line of a text.
std::size_t widest(const std::string& text) {
    std::istringstream lines(text);
    std::size_t width = 0;
    for (std::string line; std::getline(lines, line);)
        width = std::max(width, displayWidth(line));
    return width;
}

Table projects(const std::string& name) {
    Table table({{"Projects", Align::left, 8},
                 {"tokens"},
                 {"sessions", Align::right, std::nullopt, 1},
                 {"cost", Align::right, std::nullopt, 2}});
    table.addRow({name, "1.2M", "3", "$1.00"});
    table.addRow({"b", "999", "12", "5¢"});
    return table;
}

TEST(Table, alignsNumbersToTheRightAndNamesToTheLeft) {
    EXPECT_EQ(projects("web-app").text(80, noColor),
              "Projects   tokens  sessions   cost\n"
              "  web-app    1.2M         3  $1.00\n"
              "  b           999        12     5¢\n");
}

TEST(Table, alignsByDisplayWidth) {
    EXPECT_EQ(projects("日本語").text(80, noColor),
              "Projects  tokens  sessions   cost\n"
              "  日本語    1.2M         3  $1.00\n"
              "  b          999        12     5¢\n");
}

TEST(Table, cutsTheFlexibleColumnInTheMiddleFirst) {
    EXPECT_EQ(projects("a-very-long-project").text(40, noColor),
              "Projects         tokens  sessions   cost\n"
              "  a-very…roject    1.2M         3  $1.00\n"
              "  b                 999        12     5¢\n");
}

TEST(Table, leavesColumnsOutWhereItIsTooNarrow) {
    EXPECT_EQ(projects("a-very-long-project").text(24, noColor),
              "Projects   tokens   cost\n"
              "  a-v…ect    1.2M  $1.00\n"
              "  b           999     5¢\n");
    EXPECT_EQ(projects("a-very-long-project").text(16, noColor),
              "Projects  tokens\n"
              "  a-v…ct    1.2M\n"
              "  b          999\n");
}

TEST(Table, keepsItsColumnsWhateverIsWrittenInThem) {
    Table table({{"Projects", Align::left, 8}, {"tokens"}, {"cost"}});
    table.addRow({"web-app", "1.2M", "$1" + std::string(300, '0') + ".0k"});
    EXPECT_EQ(table.text(80, noColor),
              "Projects   tokens                  cost\n"
              "  web-app    1.2M  $100000000…000000.0k\n");
}

TEST(Table, fitsEveryWidthThatLeavesItItsNumbers) {
    for (std::size_t width = 10; width < 100; ++width)
        EXPECT_LE(widest(projects("日本語 a project with a very long name").text(width, noColor)), width)
            << width;
}

TEST(Table, doesNotShowColumnsWithoutText) {
    Table table({{"Requests", Align::left}, {"cost"}, {"total"}});
    table.addRow({"10:00", "", "5"});
    EXPECT_EQ(table.text(80, noColor), "Requests  total\n  10:00       5\n");
}

TEST(Table, writesNothingThatATerminalObeys) {
    Table table({{"Projects", Align::left}, {"tokens"}});
    table.addRow({"\x1b]0;pwned\x07\u202e", "1"});
    EXPECT_EQ(table.text(80, noColor), "Projects      tokens\n  \uFFFD]0;pwned\uFFFD       1\n");
}

TEST(Table, setsNamesApartThatRunFromRightToLeft) {
    Table table({{"Projects", Align::left}, {"tokens"}});
    table.addRow({"שלום", "1"});
    EXPECT_EQ(table.text(80, noColor), "Projects  tokens\n  \u2068שלום\u2069         1\n");
}

TEST(Table, coloursHeadingsAndWhatIsToBeSeen) {
    Table table({{"Limits", Align::left}, {"used"}});
    table.addRow({"Codex", {"97%", Tone::alarm}});
    EXPECT_EQ(table.text(80, Palette(true)),
              "\x1b[1mLimits\x1b[0m   \x1b[1mused\x1b[0m\n"
              "  Codex   \x1b[31m97%\x1b[0m\n");
}

TEST(Table, givesAShortRowEmptyCells) {
    Table table({{"Projects", Align::left}, {"tokens"}});
    table.addRow({"a", "1"});
    table.addRow({"… and 3 more"});
    EXPECT_EQ(table.text(80, noColor), "Projects        tokens\n  a                  1\n  … and 3 more\n");
}

TEST(ShareBar, fillsItsColumnsByEighths) {
    EXPECT_EQ(shareBar(0, 4), "    ");
    EXPECT_EQ(shareBar(1, 4), "████");
    EXPECT_EQ(shareBar(0.5, 4), "██  ");
    EXPECT_EQ(shareBar(0.53125, 4), "██▏ ");
    EXPECT_EQ(shareBar(1.0 / 1000, 4), "▏   ");
}

TEST(ShareBar, takesAnythingForAShare) {
    EXPECT_EQ(shareBar(-1, 2), "  ");
    EXPECT_EQ(shareBar(7, 2), "██");
    EXPECT_EQ(shareBar(std::numeric_limits<double>::quiet_NaN(), 2), "  ");
}

TEST(Color, marksLimitsFrom80AndFrom95On) {
    EXPECT_EQ(limitTone(79.9), Tone::plain);
    EXPECT_EQ(limitTone(80), Tone::notice);
    EXPECT_EQ(limitTone(94.9), Tone::notice);
    EXPECT_EQ(limitTone(95), Tone::alarm);
}

}  // namespace
}  // namespace ledgerfern
