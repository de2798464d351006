#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ledgerfern::bench {

/// Random numbers that are the same on every platform.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }

    /// From 0 up to, and without, `limit`.
    std::size_t below(std::size_t limit) { return next() % limit; }
    /// True so many times in a hundred.
    bool percent(unsigned chance) { return below(100) < chance; }
    /// From 0 up to, and without, 1.
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    /// Half of the values are below `median`; one in six is above `median` times e to the `sigma`.
    double logNormal(double median, double sigma) {
        const double radius = std::sqrt(-2 * std::log(1 - unit()));
        return median * std::exp(sigma * radius * std::cos(2 * 3.14159265358979323846 * unit()));
    }

    std::string text(std::string_view alphabet, std::size_t length) {
        std::string result(length, '\0');
        for (char& c : result)
            c = alphabet[below(alphabet.size())];
        return result;
    }

private:
    std::uint64_t state_;
};

}  // namespace ledgerfern::bench
