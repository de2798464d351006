#include "UsageRecords/RequestList.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

RequestList listOf(std::initializer_list<RequestDelta> deltas,
                   std::initializer_list<const char*> otherNames = {}) {
    StringPool names;
    for (const char* name : otherNames)
        names.add(name);
    SharedArray<RequestRecord> records;
    for (const RequestDelta& delta : deltas) {
        RequestRecord record;
        if (delta.ts) record.time = *delta.ts;
        record.d = delta.d;
        if (delta.dominant) record.dominant = names.add(*delta.dominant);
        if (delta.model) record.model = names.add(*delta.model);
        records.push_back(record);
    }
    return {records, names};
}

const RequestDelta full = {1772360430.5, {1, 2, 3, 4, 5, 6}, "tool:result", "m-1"};

TEST(RequestList, aRequestReadsAsItWasAdded) {
    const RequestList list = listOf({full, RequestDelta{}});
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0], full);
    EXPECT_EQ(list[1], RequestDelta{});
    EXPECT_FALSE(list[1].ts || list[1].dominant || list[1].model);
    EXPECT_EQ(list.records().size(), 2u);
    EXPECT_EQ(list.names().size(), 2u);
}

TEST(RequestList, anEmptyNameIsNotAnAbsentOne) {
    const RequestList list = listOf({{{}, {}, "", {}}});
    EXPECT_EQ(list[0].dominant, "");
    EXPECT_EQ(list[0].model, std::nullopt);
}

TEST(RequestList, theEpochIsATime) {
    RequestRecord record;
    EXPECT_FALSE(record.hasTime());
    EXPECT_EQ(record.ts(), std::nullopt);
    record.time = 0;
    EXPECT_EQ(record.ts(), 0.0);
}

TEST(RequestList, aFreshListIsEmpty) {
    EXPECT_TRUE(RequestList{}.empty());
    EXPECT_EQ(RequestList{}, listOf({}, {"a name"}));
}

TEST(RequestList, equalityIsThatOfWhatIsRead) {
    EXPECT_EQ(listOf({full}), listOf({full}, {"other", "names", "first"})) << "whatever the names' indices";
    EXPECT_NE(listOf({full}), listOf({full, full}));
    EXPECT_NE(listOf({full}), listOf({RequestDelta{}}));
    RequestDelta other = full;
    other.model = "m-2";
    EXPECT_NE(listOf({full}), listOf({other}));
    other = full;
    other.dominant = std::nullopt;
    EXPECT_NE(listOf({full}), listOf({other}));
    other = full;
    other.ts = 0.0;
    EXPECT_NE(listOf({full}), listOf({other}));
    other = full;
    other.d.totalTokens = 7;
    EXPECT_NE(listOf({full}), listOf({other}));
}

TEST(RequestList, aCopySharesTheStorage) {
    const RequestList list = listOf({full});
    RequestList copy;
    copy = list;
    EXPECT_TRUE(copy.sharesStorageWith(list));
    EXPECT_FALSE(listOf({full}).sharesStorageWith(list));
}

}  // namespace
}  // namespace ledgerfern
