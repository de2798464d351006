#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ledgerfern {

/// Finds the first of a few markers in a line of JSON: texts such as `"token_count"`, quotes included.
///
/// The search decides on most lines of a log whether they are parsed at all, so it goes over gigabytes.
/// Stopping at every quote is slow on JSON, which is full of them; so 16 places at a time are compared with a
/// quote followed by one of the markers' first letters, and only where both agree is a marker compared whole.
///
/// Every marker starts with a quote and has at least one letter behind it.
template <const auto& markers>
class MarkerSearch {
public:
    struct Hit {
        std::size_t position;
        std::size_t marker;  ///< Index in `markers`.
    };
    static constexpr std::size_t npos = std::string_view::npos;

    /// The first marker at or behind `from`; its position is `npos` where there is none.
    static Hit first(std::string_view line, std::size_t from = 0) {
        const char* const data = line.data();
        std::size_t at = from;
        // A block looks one byte ahead of its 16.
        while (line.size() > at + block) {
            for (std::uint64_t half = 0; half < 2; ++half) {
                const Hit hit = firstInWord(line, at + half * 8, candidates(data + at)[half]);
                if (hit.position != npos) return hit;
            }
            at += block;
        }
        for (; at + 1 < line.size(); ++at) {
            if (data[at] != '"') continue;
            const Hit hit = compare(line, at);
            if (hit.position != npos) return hit;
        }
        return {npos, 0};
    }

private:
    static constexpr std::size_t block = 16;
    using Bytes = std::uint8_t __attribute__((vector_size(16)));
    using Words = std::uint64_t __attribute__((vector_size(16)));

    /// The distinct first letters, the rest of the array filled with the first of them.
    static constexpr auto firstLetters = [] {
        std::array<std::uint8_t, markers.size()> letters{};
        std::size_t count = 0;
        for (const std::string_view marker : markers) {
            const auto letter = static_cast<std::uint8_t>(marker[1]);
            bool known = false;
            for (std::size_t i = 0; i < count; ++i)
                known = known || letters[i] == letter;
            if (!known) letters[count++] = letter;
        }
        struct Result {
            std::array<std::uint8_t, markers.size()> letters;
            std::size_t count;
        };
        return Result{letters, count};
    }();

    /// 0xFF in each byte at which a marker may start, little end first.
    static Words candidates(const char* place) {
        Bytes here, next;
        std::memcpy(&here, place, block);
        std::memcpy(&next, place + 1, block);
        auto letter = next == firstLetters.letters[0];
        for (std::size_t i = 1; i < firstLetters.count; ++i)
            letter |= next == firstLetters.letters[i];
        const auto both = (here == static_cast<std::uint8_t>('"')) & letter;
        Words words;
        std::memcpy(&words, &both, block);
        return words;
    }

    static Hit firstInWord(std::string_view line, std::size_t base, std::uint64_t word) {
        while (word != 0) [[unlikely]] {
            const unsigned firstBit = static_cast<unsigned>(__builtin_ctzll(word)) & 56u;
            const Hit hit = compare(line, base + firstBit / 8);
            if (hit.position != npos) return hit;
            word &= ~(std::uint64_t{0xFF} << firstBit);
        }
        return {npos, 0};
    }

    static Hit compare(std::string_view line, std::size_t at) {
        const std::string_view rest = line.substr(at);
        // Most candidates fail; the letter rules most markers out for each.
        for (std::size_t i = 0; i < markers.size(); ++i)
            if (rest[1] == markers[i][1] && rest.starts_with(markers[i])) return {at, i};
        return {npos, 0};
    }
};

}  // namespace ledgerfern
