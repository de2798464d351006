#include "Foundation/StringPool.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace ledgerfern {
namespace {

TEST(StringPool, stringsAreNumberedInTheirOrder) {
    StringPool pool;
    EXPECT_EQ(pool.size(), 0u);
    EXPECT_EQ(pool.add("one"), 0u);
    EXPECT_EQ(pool.add(""), 1u);
    EXPECT_EQ(pool.add(std::string_view("a\0b", 3)), 2u);
    EXPECT_EQ(pool.add("one"), 3u) << "a pool doesn't look for equals";
    EXPECT_EQ(pool[0], "one");
    EXPECT_EQ(pool[1], "");
    EXPECT_EQ(pool[2], std::string_view("a\0b", 3));
    EXPECT_EQ(pool[3], "one");
}

TEST(StringPool, noneIsAbsentAndTheEmptyStringIsNot) {
    StringPool pool;
    EXPECT_EQ(pool.text(StringPool::none), std::nullopt);
    EXPECT_EQ(pool.text(pool.add("")), "");
    EXPECT_EQ(pool.text(pool.add("x")), "x");
}

TEST(StringPool, aPublishedCopyStaysWhileItsOwnerAdds) {
    StringPool owner;
    owner.add("first");
    const StringPool published = owner;
    for (int i = 0; i < 1000; ++i)
        owner.add("text " + std::to_string(i));
    EXPECT_EQ(published.size(), 1u);
    EXPECT_EQ(published[0], "first");
    EXPECT_EQ(owner[1000], "text 999");
    owner.shrinkToFit();
    EXPECT_EQ(owner[0], "first");
    EXPECT_EQ(owner[1000], "text 999");
}

TEST(StringPool, copiesDiverge) {
    StringPool first;
    first.add("common");
    StringPool second = first;
    EXPECT_EQ(first.add("a"), 1u);
    EXPECT_EQ(second.add("bcd"), 1u);
    EXPECT_EQ(first[1], "a");
    EXPECT_EQ(second[1], "bcd");
    EXPECT_EQ(second[0], "common");
}

TEST(StringPool, itsOwnTextMayBeAdded) {
    StringPool pool;
    pool.add("the same");
    for (int i = 0; i < 100; ++i)
        pool.add(pool[0]);
    for (StringPool::Index i = 0; i < pool.size(); ++i)
        EXPECT_EQ(pool[i], "the same");
}

TEST(StringIndex, equalTextsHaveOneIndex) {
    StringIndex index;
    EXPECT_EQ(index.find("a"), StringPool::none);
    EXPECT_EQ(index.intern("a"), 0u);
    EXPECT_EQ(index.intern("b"), 1u);
    EXPECT_EQ(index.intern("a"), 0u);
    EXPECT_EQ(index.intern(""), 2u);
    EXPECT_EQ(index.find("b"), 1u);
    EXPECT_EQ(index.find(""), 2u);
    EXPECT_EQ(index.find("c"), StringPool::none);
    EXPECT_EQ(index.size(), 3u);
    EXPECT_EQ(index[1], "b");
}

TEST(StringIndex, manyTextsAreFoundAgain) {
    StringIndex index;
    for (StringIndex::Index i = 0; i < 5000; ++i)
        ASSERT_EQ(index.intern("call_" + std::to_string(i)), i);
    for (StringIndex::Index i = 0; i < 5000; ++i) {
        ASSERT_EQ(index.find("call_" + std::to_string(i)), i);
        ASSERT_EQ(index.find("call-" + std::to_string(i)), StringPool::none);
    }
    index.shrinkToFit();
    EXPECT_EQ(index.intern("call_4999"), 4999u);
    EXPECT_EQ(index.size(), 5000u);
}

TEST(StringIndex, findsWhatItHoldsAfterItGaveRoomBack) {
    StringIndex index;
    for (int i = 0; i < 100; ++i)
        index.intern("id " + std::to_string(i));
    index.shrinkToFit();
    StringIndex copy = index;
    EXPECT_EQ(index.find("id 57"), 57u);
    EXPECT_EQ(index.find("id 100"), StringPool::none);
    EXPECT_EQ(copy.intern("id 100"), 100u);
    EXPECT_EQ(copy.intern("id 3"), 3u);
    EXPECT_EQ(copy.size(), 101u);

    StringIndex empty;
    empty.shrinkToFit();
    EXPECT_EQ(empty.find("a"), StringPool::none);
    EXPECT_EQ(empty.intern("a"), 0u);
}

TEST(StringIndex, tellsTextsApartByEachByte) {
    StringIndex index;
    for (std::size_t length = 1; length < 40; ++length) {
        const std::string text(length, 'x');
        ASSERT_EQ(index.find(text), StringPool::none);
        const auto number = index.intern(text);
        for (std::size_t i = 0; i < length; ++i) {
            std::string other = text;
            other[i] = 'y';
            ASSERT_NE(index.intern(other), number);
        }
        ASSERT_EQ(index.intern(text), number);
    }
}

TEST(StringIndex, copiesDiverge) {
    StringIndex first;
    first.intern("common");
    StringIndex second = first;
    EXPECT_EQ(first.intern("a"), 1u);
    EXPECT_EQ(second.intern("b"), 1u);
    EXPECT_EQ(first.find("b"), StringPool::none);
    EXPECT_EQ(second.find("a"), StringPool::none);
    EXPECT_EQ(second.intern("common"), 0u);
}

TEST(StringIndex, oneThatWasMovedFromIsEmptyAndUsable) {
    StringIndex source;
    source.intern("a");
    StringIndex target = std::move(source);
    EXPECT_EQ(source.find("a"), StringPool::none);  // NOLINT(bugprone-use-after-move): that is what is tested
    EXPECT_EQ(source.intern("b"), 0u);
    EXPECT_EQ(target.find("a"), 0u);
}

TEST(StringIndex, aPublishedPoolIsReadWhileItsOwnerInterns) {
    StringIndex owner;
    owner.intern("first");
    std::thread reader([published = owner.pool()] {
        for (int i = 0; i < 1000; ++i)
            ASSERT_EQ(published[0], "first");
    });
    for (int i = 0; i < 1000; ++i)
        owner.intern(std::to_string(i));
    reader.join();
    EXPECT_EQ(owner.find("999"), 1000u);
}

}  // namespace
}  // namespace ledgerfern
