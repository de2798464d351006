#include "Foundation/SharedArray.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace ledgerfern {
namespace {

std::vector<int> items(const SharedArray<int>& array) {
    return {array.begin(), array.end()};
}

SharedArray<int> arrayOf(const std::vector<int>& values) {
    SharedArray<int> array;
    array.append(values.data(), values.size());
    return array;
}

TEST(SharedArray, aFreshOneIsEmpty) {
    SharedArray<int> array;
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.begin(), array.end());
    EXPECT_TRUE(array.span().empty());
    array.append(nullptr, 0);
    array.shrinkToFit();
    EXPECT_TRUE(array.empty());
}

TEST(SharedArray, itGrowsByOneAndByMany) {
    SharedArray<int> array;
    for (int i = 0; i < 100; ++i)
        array.push_back(i);
    const std::vector<int> more = {100, 101, 102};
    array.append(more.data(), more.size());
    ASSERT_EQ(array.size(), 103u);
    for (int i = 0; i < 103; ++i)
        EXPECT_EQ(array[static_cast<std::size_t>(i)], i);
}

TEST(SharedArray, aCopySharesTheStorage) {
    const SharedArray<int> array = arrayOf({1, 2, 3});
    SharedArray<int> copy;
    copy = array;
    EXPECT_TRUE(copy.sharesStorageWith(array));
    EXPECT_EQ(copy.data(), array.data());
    EXPECT_FALSE(arrayOf({1, 2, 3}).sharesStorageWith(array));
}

TEST(SharedArray, aPublishedCopyStaysWhileItsOwnerAppends) {
    SharedArray<int> owner = arrayOf({1, 2, 3});
    const SharedArray<int> published = owner;
    owner.push_back(4);
    EXPECT_TRUE(owner.sharesStorageWith(published)) << "there was room behind the three";
    EXPECT_EQ(items(published), (std::vector<int>{1, 2, 3}));
    for (int i = 5; i < 1000; ++i)
        owner.push_back(i);
    EXPECT_EQ(items(published), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(owner.size(), 999u);
}

TEST(SharedArray, copiesThatBothAppendDiverge) {
    SharedArray<int> first = arrayOf({1, 2});
    SharedArray<int> second = first;
    first.push_back(3);
    second.push_back(4);
    EXPECT_EQ(items(first), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(items(second), (std::vector<int>{1, 2, 4}));
    EXPECT_FALSE(first.sharesStorageWith(second));
    first.push_back(5);
    EXPECT_EQ(items(first), (std::vector<int>{1, 2, 3, 5}));
}

TEST(SharedArray, anOlderCopyMayAppendWhenTheNewerIsGone) {
    SharedArray<int> older = arrayOf({1, 2});
    {
        SharedArray<int> newer = older;
        newer.push_back(3);
    }
    older.push_back(4);
    EXPECT_EQ(items(older), (std::vector<int>{1, 2, 4}));
}

TEST(SharedArray, itsOwnItemsMayBeAppended) {
    SharedArray<int> array = arrayOf({1});
    for (int i = 0; i < 100; ++i)
        array.push_back(array[0]);
    EXPECT_EQ(items(array), std::vector<int>(101, 1));
    array.append(array.data(), array.size());
    EXPECT_EQ(items(array), std::vector<int>(202, 1));
}

TEST(SharedArray, anArrayThatWasMovedFromIsEmptyAndUsable) {
    SharedArray<int> source = arrayOf({1, 2, 3});
    SharedArray<int> target = std::move(source);
    EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): that is what is tested
    source.push_back(9);
    EXPECT_EQ(items(source), (std::vector<int>{9}));
    EXPECT_EQ(items(target), (std::vector<int>{1, 2, 3}));
    target = std::move(source);
    EXPECT_EQ(items(target), (std::vector<int>{9}));
    EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move)
}

TEST(SharedArray, theLastItemsMayBeChangedInPlace) {
    SharedArray<int> array = arrayOf({1, 2});
    const SharedArray<int> published = array;
    array.push_back(3);
    array.push_back(4);
    for (int& item : array.mutableFrom(2))
        item *= 10;
    EXPECT_EQ(items(array), (std::vector<int>{1, 2, 30, 40}));
    EXPECT_EQ(items(published), (std::vector<int>{1, 2}));
    EXPECT_TRUE(array.mutableFrom(4).empty());
    EXPECT_TRUE(SharedArray<int>{}.mutableFrom(0).empty());
}

TEST(SharedArray, shrinkToFitMovesToStorageOfItsLength) {
    SharedArray<int> array = arrayOf({1, 2, 3});
    const SharedArray<int> before = array;
    array.shrinkToFit();
    EXPECT_FALSE(array.sharesStorageWith(before));
    EXPECT_EQ(items(array), (std::vector<int>{1, 2, 3}));
    const int* const place = array.data();
    array.shrinkToFit();
    EXPECT_EQ(array.data(), place) << "nothing is free";
    array.push_back(4);
    EXPECT_EQ(items(array), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(items(before), (std::vector<int>{1, 2, 3}));
}

TEST(SharedArray, twoThreadsMayAppendToTwoCopies) {
    const SharedArray<int> common = arrayOf({1, 2, 3});
    const auto appended = [](SharedArray<int> copy, int item) {
        for (int i = 0; i < 10000; ++i)
            copy.push_back(item);
        return copy;
    };
    SharedArray<int> first;
    SharedArray<int> second;
    std::thread other([&, copy = common] { first = appended(copy, 7); });
    second = appended(common, 8);
    other.join();
    std::vector<int> expected = {1, 2, 3};
    expected.resize(10003, 7);
    EXPECT_EQ(items(first), expected);
    std::fill(expected.begin() + 3, expected.end(), 8);
    EXPECT_EQ(items(second), expected);
    EXPECT_EQ(items(common), (std::vector<int>{1, 2, 3}));
}

TEST(SharedArray, aReaderSeesItsCopyWhileTheOwnerAppends) {
    SharedArray<int> owner = arrayOf({0});
    std::vector<std::thread> readers;
    for (int i = 1; i <= 2000; ++i) {
        if (i % 100 == 0)
            readers.emplace_back([published = owner] {
                for (std::size_t k = 0; k < published.size(); ++k)
                    ASSERT_EQ(published[k], static_cast<int>(k));
            });
        owner.push_back(i);
    }
    for (std::thread& reader : readers)
        reader.join();
}

}  // namespace
}  // namespace ledgerfern
