#include "UsageRecords/ToolTable.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

using Rows = std::vector<std::pair<std::string, ToolStat>>;

Rows rowsOf(const ToolTable& table) {
    Rows rows;
    for (const ToolTable::Entry entry : table)
        rows.emplace_back(entry.label, entry.stat);
    return rows;
}

TEST(ToolTable, rowsComeInOrderOfTheLabelsBytes) {
    const ToolTable table(Rows{{"b", {1, 0, 0}}, {"\u00E4", {2, 0, 0}}, {"B", {3, 0, 0}}, {"", {4, 0, 0}}});
    EXPECT_EQ(rowsOf(table),
              (Rows{{"", {4, 0, 0}}, {"B", {3, 0, 0}}, {"b", {1, 0, 0}}, {"\u00E4", {2, 0, 0}}}));
    EXPECT_EQ(table.size(), 4u);
    EXPECT_EQ(table[1].label, "B");
}

TEST(ToolTable, aLabelThatOccursTwiceKeepsItsLast) {
    EXPECT_EQ(rowsOf(ToolTable(Rows{{"a", {1, 2, 3}}, {"a", {4, 5, 6}}})), (Rows{{"a", {4, 5, 6}}}));
}

TEST(ToolTable, rowsOverASharedPoolAreSortedToo) {
    StringPool names;
    const StringPool::Index tests = names.add("Shell · Tests");
    names.add("a model");
    const StringPool::Index builds = names.add("Shell · Builds");
    const ToolTable table(names, {{tests, {1, 0, 0}}, {builds, {2, 0, 0}}});
    EXPECT_EQ(rowsOf(table), (Rows{{"Shell · Builds", {2, 0, 0}}, {"Shell · Tests", {1, 0, 0}}}));
    EXPECT_EQ(table, ToolTable(rowsOf(table)));
    EXPECT_EQ(table.find("a model"), nullptr) << "a name of the pool that is no row";
}

TEST(ToolTable, aLabelIsFound) {
    const ToolTable table(Rows{{"a", {1, 0, 0}}, {"c", {3, 0, 0}}, {"e", {5, 0, 0}}});
    ASSERT_NE(table.find("c"), nullptr);
    EXPECT_EQ(table.find("c")->calls, 3);
    EXPECT_EQ(table.find("a")->calls, 1);
    EXPECT_EQ(table.find("e")->calls, 5);
    for (const char* label : {"", "b", "d", "f", "A"})
        EXPECT_EQ(table.find(label), nullptr) << label;
}

TEST(ToolTable, aFreshTableIsEmpty) {
    const ToolTable table;
    EXPECT_TRUE(table.empty());
    EXPECT_TRUE(rowsOf(table).empty());
    EXPECT_EQ(table.find(""), nullptr);
    EXPECT_EQ(table, ToolTable(Rows{}));
}

TEST(ToolTable, equalityIsThatOfLabelsAndStats) {
    const ToolTable table(Rows{{"a", {1, 2, 3}}});
    EXPECT_EQ(table, ToolTable(Rows{{"a", {1, 2, 3}}}));
    EXPECT_NE(table, ToolTable(Rows{{"b", {1, 2, 3}}}));
    EXPECT_NE(table, ToolTable(Rows{{"a", {1, 2, 4}}}));
    EXPECT_NE(table, ToolTable{});
}

}  // namespace
}  // namespace ledgerfern
