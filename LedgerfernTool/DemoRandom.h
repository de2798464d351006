#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

namespace ledgerfern {

/// Made-up choices that are the same everywhere for the same seed: the splitmix64 sequence, in integers
/// alone.
class DemoRandom {
public:
    explicit DemoRandom(std::uint64_t seed) : state_(seed) {}
    /// A sequence of its own for the `stream`-th part of what is made from `seed`.
    DemoRandom(std::uint64_t seed, std::uint64_t stream);

    std::uint64_t next();
    /// From `low` to `high`, both included; `low` where there is nothing between them.
    std::int64_t between(std::int64_t low, std::int64_t high);
    /// True `percent` times in a hundred.
    bool chance(std::int64_t percent) { return between(0, 99) < percent; }
    /// The value, up to a fifth more or less.
    std::int64_t about(std::int64_t value) { return between(value - value / 5, value + value / 5); }
    /// One of them; there must be one.
    template <class Container>
    const auto& pick(const Container& items) {
        return items[static_cast<std::size_t>(between(0, static_cast<std::int64_t>(std::size(items)) - 1))];
    }

    std::string hex(std::size_t digits);
    /// Letters and digits.
    std::string word(std::size_t length);
    std::string uuid();
    /// A UUID that begins with the instant, in milliseconds since the epoch.
    std::string uuidOf(std::int64_t milliseconds);

private:
    std::string filled(std::string pattern);
    std::string pickedFrom(const char* letters, std::int64_t count, std::size_t length);

    std::uint64_t state_;
};

}  // namespace ledgerfern
