#include <algorithm>
#include <numeric>

#include "Options.h"

namespace ledgerfern {

namespace {

/// How many letters must be put in, left out, changed or swapped with their neighbour to make `b` of `a`.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = last;
        last.swap(row);
    }
    return last[b.size()];
}

/// The word behind its dashes.
std::string_view letters(std::string_view word) {
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

/// How many slips may lie between a word and this one: two only where it is long and the word starts right.
std::size_t mostSlips(std::string_view word, std::string_view candidate) {
    constexpr std::size_t longWord = 6;
    const std::string_view name = letters(candidate);
    const std::string_view start = candidate.substr(0, candidate.size() - name.size() + 1);
    return name.size() >= longWord && word.starts_with(start) ? 2 : 1;
}

}  // namespace

std::optional<std::string_view> nearMiss(std::string_view word,
                                         const std::vector<std::string_view>& candidates) {
    constexpr std::size_t longestWord = 40;
    if (word.size() > longestWord) return std::nullopt;
    std::optional<std::string_view> best;
    std::size_t bestDistance = longestWord;
    for (const std::string_view candidate : candidates) {
        const std::size_t distance = editDistance(word, candidate);
        if (distance >= bestDistance || distance > mostSlips(word, candidate)) continue;
        best = candidate;
        bestDistance = distance;
    }
    return best;
}

}  // namespace ledgerfern
