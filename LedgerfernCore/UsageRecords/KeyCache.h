#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace ledgerfern {

/// Calendar keys by time bucket, so that a key is formatted about once a bucket and not once a request. It is
/// never emptied: its size follows the distinct buckets in the data.
///
/// Any thread may use it. The lock, which several caches may share, is held for a look-up or a store and
/// never while formatting; two threads may so format the same bucket, to the same text.
class KeyCache {
public:
    struct Formatted {
        std::string key;
        bool holdsForBucket = true;  ///< Every instant of the bucket has this key; otherwise it isn't kept.
    };

    explicit KeyCache(std::mutex& lock) : lock_(lock) {}

    /// The bucket's key; `format` makes a `Formatted` where it isn't known yet.
    template <class Format>
    std::string key(std::int64_t bucket, const Format& format) {
        if (std::string known; find(bucket, known)) return known;
        Formatted formatted = format();
        if (formatted.holdsForBucket) store(bucket, formatted.key);
        return std::move(formatted.key);
    }

private:
    bool find(std::int64_t bucket, std::string& key) const {
        const std::lock_guard guard(lock_);
        const auto entry = keys_.find(bucket);
        if (entry == keys_.end()) return false;
        key = entry->second;
        return true;
    }

    void store(std::int64_t bucket, const std::string& key) {
        const std::lock_guard guard(lock_);
        keys_.emplace(bucket, key);
    }

    std::mutex& lock_;
    std::unordered_map<std::int64_t, std::string> keys_;
};

}  // namespace ledgerfern
