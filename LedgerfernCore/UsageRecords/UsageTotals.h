#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace ledgerfern {

/// Six token counters. In a session they are sums, in a request the request's own counts; a counter that a
/// log doesn't give is 0. `inputTokens` is the whole prompt, cached and cache-written tokens included.
struct UsageTotals {
    std::int64_t inputTokens = 0;
    std::int64_t cachedInputTokens = 0;      ///< Input served from the provider's prompt cache.
    std::int64_t cacheWriteInputTokens = 0;  ///< Input written into the prompt cache.
    std::int64_t outputTokens = 0;
    std::int64_t reasoningOutputTokens = 0;  ///< Reasoning tokens among the output.
    std::int64_t totalTokens = 0;            ///< The log's own total: read, never recomputed from the others.

    /// The counters' keys, in the order of the fields: the only spelling by which they travel in logs and
    /// documents.
    static constexpr std::array<std::string_view, 6> fields = {
        "input_tokens",  "cached_input_tokens",     "cache_write_input_tokens",
        "output_tokens", "reasoning_output_tokens", "total_tokens"};

    /// Reads or writes the counter of one of `fields`; any other key reads as 0, and writing it changes
    /// nothing.
    std::int64_t get(std::string_view key) const;
    void set(std::string_view key, std::int64_t value);
    /// The counter of `fields[index]`.
    std::int64_t& at(std::size_t index);
    std::int64_t at(std::size_t index) const;

    class Reference;
    std::int64_t operator[](std::string_view key) const { return get(key); }
    Reference operator[](std::string_view key);

    /// All additions are field by field. Counters come from logs: one that would leave 64 bits stays as it
    /// is.
    void add(const UsageTotals& other);
    void add(std::int64_t input, std::int64_t cached, std::int64_t cacheWrite, std::int64_t output,
             std::int64_t reasoning, std::int64_t total);
    /// Adds the map's value of each of the six keys, 0 where it is missing; other keys are ignored.
    void add(const std::map<std::string, std::int64_t>& map);

    /// A map with all six keys, zero counters included.
    std::map<std::string, std::int64_t> v() const;
    /// Takes each counter from the map, 0 where its key is missing.
    void setV(const std::map<std::string, std::int64_t>& map);

    bool operator==(const UsageTotals&) const = default;
};

UsageTotals operator+(UsageTotals a, const UsageTotals& b);

/// What a writing subscript gives: assigning to it sets the counter of its key.
class UsageTotals::Reference {
public:
    Reference(UsageTotals& totals, std::string_view key) : totals_(totals), key_(key) {}
    Reference& operator=(std::int64_t value) {
        totals_.set(key_, value);
        return *this;
    }
    operator std::int64_t() const { return totals_.get(key_); }

private:
    UsageTotals& totals_;
    std::string_view key_;
};

inline UsageTotals::Reference UsageTotals::operator[](std::string_view key) {
    return {*this, key};
}

inline void UsageTotals::add(const UsageTotals& other) {
    add(other.inputTokens, other.cachedInputTokens, other.cacheWriteInputTokens, other.outputTokens,
        other.reasoningOutputTokens, other.totalTokens);
}

}  // namespace ledgerfern
