#include "Services/OlderSymbol.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ledgerfern {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 5> olderSymbols = {{
    {"gauge.with.dots.needle.0percent", "gauge.low"},
    {"gauge.with.dots.needle.33percent", "gauge.low"},
    {"gauge.with.dots.needle.50percent", "gauge.medium"},
    {"gauge.with.dots.needle.67percent", "gauge.high"},
    {"gauge.with.dots.needle.100percent", "gauge.high"},
}};

}  // namespace

std::string_view olderSymbol(std::string_view name) {
    const auto* const found = std::find_if(olderSymbols.begin(), olderSymbols.end(),
                                           [&](const auto& pair) { return pair.first == name; });
    return found == olderSymbols.end() ? std::string_view() : found->second;
}

}  // namespace ledgerfern
