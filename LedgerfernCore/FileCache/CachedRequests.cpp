#include "FileCache/CachedRequests.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "Foundation/Arithmetic.h"

namespace ledgerfern {

namespace {

using Packed = std::array<double, 1 + UsageTotals::fields.size()>;
static_assert(sizeof(Packed) == 56);
static_assert(std::endian::native == std::endian::little, "packed requests lie in memory as in the record");

Packed packed(const RequestRecord& record) {
    const UsageTotals& d = record.d;
    return {record.time,
            static_cast<double>(d.inputTokens),
            static_cast<double>(d.cachedInputTokens),
            static_cast<double>(d.cacheWriteInputTokens),
            static_cast<double>(d.outputTokens),
            static_cast<double>(d.reasoningOutputTokens),
            static_cast<double>(d.totalTokens)};
}

RequestRecord unpacked(const Packed& numbers) {
    const auto counter = [&](std::size_t index) { return static_cast<std::int64_t>(numbers[index]); };
    RequestRecord record;
    record.time = numbers[0];
    record.d = {counter(1), counter(2), counter(3), counter(4), counter(5), counter(6)};
    return record;
}

}  // namespace

std::int64_t throughDouble(std::int64_t number) {
    return truncated(static_cast<double>(number)).value_or(number);
}

std::string packedRequests(const RequestList& requests) {
    std::string bytes(requests.size() * sizeof(Packed), '\0');
    char* place = bytes.data();
    for (const RequestRecord& record : requests.records()) {
        const Packed numbers = packed(record);
        std::memcpy(place, numbers.data(), sizeof numbers);
        place += sizeof numbers;
    }
    return bytes;
}

std::optional<std::vector<RequestRecord>> unpackedRequests(std::string_view bytes) {
    std::vector<RequestRecord> records;
    records.reserve(bytes.size() / sizeof(Packed));
    for (; bytes.size() >= sizeof(Packed); bytes.remove_prefix(sizeof(Packed))) {
        Packed numbers;
        std::memcpy(numbers.data(), bytes.data(), sizeof numbers);
        if (!std::all_of(numbers.begin(), numbers.end(), fits64Bits)) return std::nullopt;
        records.push_back(unpacked(numbers));
    }
    return records;
}

/// A list's names are looked up once each, not once a request.
ModelTable::ModelTable(const RequestList& requests) {
    std::vector<std::optional<std::int64_t>> known(requests.names().size());
    reqModel.reserve(requests.size());
    for (const RequestRecord& record : requests.records()) {
        if (record.model == StringPool::none) {
            reqModel.push_back(none);
            continue;
        }
        auto& index = known[record.model];
        if (!index) index = models.intern(requests.names()[record.model]);
        reqModel.push_back(*index);
    }
}

}  // namespace ledgerfern
