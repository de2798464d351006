#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "Foundation/SharedArray.h"
#include "Foundation/StringPool.h"
#include "UsageRecords/Records.h"
#include "UsageRecords/UsageTotals.h"

namespace ledgerfern {

/// One model request, as it is read.
struct RequestDelta {
    std::optional<Instant> ts;                 ///< When it was logged; absent without a parsable timestamp.
    UsageTotals d;                             ///< The request's own token counts.
    std::optional<std::string_view> dominant;  ///< Label of the largest context addition, if any.
    std::optional<std::string_view> model;     ///< The model that served it, if the log told.

    bool operator==(const RequestDelta&) const = default;
};

/// One model request, as it is held: 64 bytes. Names are indices into the session's own pool.
struct RequestRecord {
    double time = std::numeric_limits<double>::quiet_NaN();  ///< NaN is absent: ask `hasTime`.
    UsageTotals d;
    StringPool::Index dominant = StringPool::none;
    StringPool::Index model = StringPool::none;

    bool hasTime() const { return !std::isnan(time); }
    std::optional<Instant> ts() const {
        if (!hasTime()) return std::nullopt;
        return time;
    }
};
static_assert(sizeof(RequestRecord) == 64);

/// A session's requests, in log order, with the names that they use. A value whose copies share their
/// storage, so that a live parser state and what it has published hold the requests once between them.
class RequestList {
public:
    RequestList() = default;
    RequestList(SharedArray<RequestRecord> records, StringPool names)
        : records_(std::move(records)), names_(std::move(names)) {}

    std::size_t size() const { return records_.size(); }
    bool empty() const { return records_.empty(); }
    RequestDelta operator[](std::size_t index) const {
        const RequestRecord& record = records_[index];
        return {record.ts(), record.d, names_.text(record.dominant), names_.text(record.model)};
    }

    /// For loops over many requests that need no names.
    std::span<const RequestRecord> records() const { return records_.span(); }
    const StringPool& names() const { return names_; }
    bool sharesStorageWith(const RequestList& other) const {
        return records_.sharesStorageWith(other.records_);
    }

    bool operator==(const RequestList& other) const;

private:
    SharedArray<RequestRecord> records_;
    StringPool names_;
};

}  // namespace ledgerfern
