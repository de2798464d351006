#include "UsageRecords/KeyCache.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

namespace ledgerfern {
namespace {

class KeyCacheTest : public testing::Test {
protected:
    std::string key(std::int64_t bucket) {
        return cache.key(bucket, [&] {
            ++formattings;
            return KeyCache::Formatted{"key " + std::to_string(bucket)};
        });
    }

    std::mutex lock;
    KeyCache cache{lock};
    int formattings = 0;
};

TEST_F(KeyCacheTest, aKeyIsFormattedOnceABucket) {
    EXPECT_EQ(key(7), "key 7");
    EXPECT_EQ(key(7), "key 7");
    EXPECT_EQ(formattings, 1);
    EXPECT_EQ(key(-7), "key -7");
    EXPECT_EQ(key(std::numeric_limits<std::int64_t>::min()), "key -9223372036854775808");
    EXPECT_EQ(key(7), "key 7");
    EXPECT_EQ(formattings, 3);
}

TEST_F(KeyCacheTest, aKeyThatDoesNotHoldForItsBucketIsFormattedEachTime) {
    for (const char* text : {"before", "behind"})
        EXPECT_EQ(cache.key(1, [&] { return KeyCache::Formatted{text, false}; }), text);
    EXPECT_EQ(key(1), "key 1");
}

TEST_F(KeyCacheTest, cachesThatShareALockKeepTheirKeysApart) {
    KeyCache other{lock};
    EXPECT_EQ(key(1), "key 1");
    EXPECT_EQ(other.key(1, [] { return KeyCache::Formatted{"other"}; }), "other");
    EXPECT_EQ(key(1), "key 1");
}

TEST_F(KeyCacheTest, formattingHappensWithoutTheLock) {
    const auto lockIsFree = [&] {
        bool isFree = false;
        std::thread([&] {
            isFree = lock.try_lock();
            if (isFree) lock.unlock();
        }).join();
        return isFree;
    };
    EXPECT_EQ(cache.key(1, [&] { return KeyCache::Formatted{lockIsFree() ? "free" : "held"}; }), "free");
    EXPECT_TRUE(lockIsFree());
}

TEST_F(KeyCacheTest, manyThreadsGetTheSameKeys) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int bucket = 0; bucket < 500; ++bucket)
                EXPECT_EQ(cache.key(bucket, [&] { return KeyCache::Formatted{std::to_string(bucket)}; }),
                          std::to_string(bucket));
        });
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace ledgerfern
