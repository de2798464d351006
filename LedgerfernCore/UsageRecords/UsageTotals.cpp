#include "UsageRecords/UsageTotals.h"

#include "Foundation/Arithmetic.h"

namespace ledgerfern {

namespace {

constexpr std::array<std::int64_t UsageTotals::*, 6> counters = {
    &UsageTotals::inputTokens,  &UsageTotals::cachedInputTokens,     &UsageTotals::cacheWriteInputTokens,
    &UsageTotals::outputTokens, &UsageTotals::reasoningOutputTokens, &UsageTotals::totalTokens};

std::int64_t valueOrZero(const std::map<std::string, std::int64_t>& map, std::string_view key) {
    const auto entry = map.find(std::string(key));
    return entry == map.end() ? 0 : entry->second;
}

}  // namespace

std::int64_t& UsageTotals::at(std::size_t index) {
    return this->*counters[index];
}
std::int64_t UsageTotals::at(std::size_t index) const {
    return this->*counters[index];
}

std::int64_t UsageTotals::get(std::string_view key) const {
    for (std::size_t i = 0; i < fields.size(); ++i)
        if (fields[i] == key) return at(i);
    return 0;
}

void UsageTotals::set(std::string_view key, std::int64_t value) {
    for (std::size_t i = 0; i < fields.size(); ++i)
        if (fields[i] == key) at(i) = value;
}

void UsageTotals::add(std::int64_t input, std::int64_t cached, std::int64_t cacheWrite, std::int64_t output,
                      std::int64_t reasoning, std::int64_t total) {
    addFromOutside(inputTokens, input);
    addFromOutside(cachedInputTokens, cached);
    addFromOutside(cacheWriteInputTokens, cacheWrite);
    addFromOutside(outputTokens, output);
    addFromOutside(reasoningOutputTokens, reasoning);
    addFromOutside(totalTokens, total);
}

void UsageTotals::add(const std::map<std::string, std::int64_t>& map) {
    for (std::size_t i = 0; i < fields.size(); ++i)
        addFromOutside(at(i), valueOrZero(map, fields[i]));
}

std::map<std::string, std::int64_t> UsageTotals::v() const {
    std::map<std::string, std::int64_t> map;
    for (std::size_t i = 0; i < fields.size(); ++i)
        map.emplace(fields[i], at(i));
    return map;
}

void UsageTotals::setV(const std::map<std::string, std::int64_t>& map) {
    for (std::size_t i = 0; i < fields.size(); ++i)
        at(i) = valueOrZero(map, fields[i]);
}

UsageTotals operator+(UsageTotals a, const UsageTotals& b) {
    a.add(b);
    return a;
}

}  // namespace ledgerfern
