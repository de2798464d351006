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

}  // namespace

std::optional<std::string_view> nearMiss(std::string_view word,
                                         const std::vector<std::string_view>& candidates) {
    constexpr std::size_t longestWord = 40;
    if (word.size() > longestWord) return std::nullopt;
    const auto start = [](std::string_view text) { return text.substr(0, text.find_first_not_of('-') + 1); };
    std::optional<std::string_view> best;
    std::size_t bestDistance = 3;
    for (const std::string_view candidate : candidates) {
        const std::size_t distance = editDistance(word, candidate);
        // Two slips are taken for one word only where it starts right.
        if (distance >= bestDistance || (distance > 1 && start(word) != start(candidate))) continue;
        best = candidate;
        bestDistance = distance;
    }
    return best;
}

}  // namespace ledgerfern
