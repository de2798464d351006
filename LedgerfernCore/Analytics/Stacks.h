#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "UsageRecords/SessionResult.h"
#include "UsageRecords/TimeRange.h"

namespace ledgerfern {

/// One bar of a stacked chart: the tokens of one bucket of time by label.
struct DayStack {
    std::string key;  ///< `TSDate::localDayKey` or `TSDate::isoWeekKey`; also its identity.
    std::map<std::string, std::int64_t> parts;
    std::int64_t total = 0;

    bool operator==(const DayStack&) const = default;
};

/// One label's part of a whole chart.
struct LegendEntry {
    std::string label;
    std::int64_t value = 0;
    double fraction = 0;  ///< Of the sum of all values; 0 where that is less than 1.

    bool operator==(const LegendEntry&) const = default;
};

/// The sums of the parts by label, largest first, and equal ones by label.
std::vector<LegendEntry> legendOf(const std::vector<DayStack>& stacks);

/// What the bars of a chart stand for.
enum class StackUnit { localDay, isoWeek };

/// Stacked charts in the making: the total tokens of requests by bucket and label. A request counts at its
/// own time, and only where that lies in the charts' range. One thread uses it; the sessions and labels that
/// were added must outlive it.
class StackBuilder {
public:
    /// Without a range every request counts that has a time.
    StackBuilder(StackUnit unit, std::optional<TimeRange> range);
    StackBuilder(const StackBuilder&) = delete;
    StackBuilder& operator=(const StackBuilder&) = delete;

    /// Adds all requests of the session under one label.
    void add(const SessionResult& session, std::string_view label);
    /// Adds them to the chart by models too, each under its own model, else `modelLabel`.
    void addWithModels(const SessionResult& session, std::string_view label);

    /// In ascending order of their keys.
    std::vector<DayStack> stacks() const;
    std::vector<DayStack> modelStacks() const;

private:
    struct Part {
        std::int64_t value = 0;
        bool isPresent = false;  ///< A request was added, if only with 0 tokens.
    };
    using Parts = std::deque<Part>;  // by the label's number; they keep their places as it grows
    struct Bucket {
        Parts parts;
        Parts modelParts;
        std::int64_t total = 0;
    };
    struct Stretch {
        Instant end = 0;
        Bucket* bucket = nullptr;
    };

    /// The numbers of one chart's labels.
    class Labels {
    public:
        std::uint32_t numberOf(std::string_view label);
        std::string_view operator[](std::size_t number) const { return labels_[number]; }

    private:
        std::unordered_map<std::string_view, std::uint32_t> numbers_;
        std::vector<std::string_view> labels_;
        std::uint32_t latest_ = 0;
    };

    template <bool WithModels>
    void addRequests(const SessionResult& session, std::string_view label);
    bool covers(Instant ts) const;
    TimeRange enter(Instant ts);
    std::int64_t& modelValue(const SessionResult& session, StringPool::Index model);
    std::uint32_t modelNumber(const SessionResult& session, std::size_t index);
    static std::int64_t& valueOf(Parts& parts, std::uint32_t number);
    static std::map<std::string, std::int64_t> named(const Parts& parts, const Labels& labels);

    StackUnit unit_;
    std::optional<TimeRange> range_;
    Labels labels_;
    Labels models_;
    std::map<std::string, Bucket> buckets_;
    std::map<Instant, Stretch> stretches_;  // by start

    Bucket* bucket_ = nullptr;  // of the last request
    // Of the session at hand, by the index of the name; the last is that of requests without one.
    std::vector<std::uint32_t> numbersOfModels_;
    std::vector<std::int64_t*> valuesOfModels_;  // in the bucket at hand; null until they are needed
};

/// The model that a session's requests count under where they have none of their own.
std::string_view modelLabel(const SessionResult& session);

}  // namespace ledgerfern
