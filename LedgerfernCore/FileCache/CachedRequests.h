#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "UsageRecords/RequestList.h"

/// Requests as a cached record holds them: seven doubles each, the time and the six counters, in the order of
/// the requests. That takes 56 bytes and no parsing; counters above 2^53 lose their last bits.
namespace ledgerfern {

/// What comes back of a number that is stored as a double. From 2^53 on that is the nearest double; where
/// that doesn't fit 64 bits, nothing comes back, and the number stays as it is here.
std::int64_t throughDouble(std::int64_t number);

std::string packedRequests(const RequestList& requests);

/// The whole requests that the bytes begin with, without names; what is left behind them is dropped. Absent
/// where one of their doubles doesn't fit 64 bits, or is none.
std::optional<std::vector<RequestRecord>> unpackedRequests(std::string_view bytes);

/// The models of a list's requests, each once, in the order in which they first appear.
struct ModelTable {
    static constexpr std::int64_t none = -1;  ///< What stands for a request without a model.

    StringIndex models;
    std::vector<std::int64_t> reqModel;  ///< By request: its model's index, or `none`.

    explicit ModelTable(const RequestList& requests);
};

}  // namespace ledgerfern
