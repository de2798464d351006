#include "Analytics/Stacks.h"

#include <algorithm>

#include "Foundation/Arithmetic.h"
#include "UsageRecords/TSDate.h"

// A chart goes over every request in scope, and must stay near the cost of reading them. So labels are
// numbers while it is made, and the bucket of the last request is remembered with the stretch of time that
// lies in it as a whole. A request outside it finds its bucket by time among the stretches that came before,
// and only one of a day or week that is new has its key made.

namespace ledgerfern {

namespace {

constexpr std::uint32_t noNumber = UINT32_MAX;

TimeRange overlap(const TimeRange& a, const TimeRange& b) {
    return {std::max(a.start, b.start), std::min(a.end, b.end)};
}

/// A sum that stays in a register while it is added to, and out of its place meanwhile.
class RunningSum {
public:
    void turnTo(std::int64_t& place) {
        store();
        place_ = &place;
        sum_ = place;
    }
    void add(std::int64_t tokens) { addFromOutside(sum_, tokens); }
    void store() {
        if (place_) *place_ = sum_;
    }

private:
    std::int64_t* place_ = nullptr;
    std::int64_t sum_ = 0;
};

}  // namespace

StackBuilder::StackBuilder(StackUnit unit, std::optional<TimeRange> range) : unit_(unit), range_(range) {}

void StackBuilder::add(const SessionResult& session, std::string_view label) {
    addRequests<false>(session, label);
}

void StackBuilder::addWithModels(const SessionResult& session, std::string_view label) {
    numbersOfModels_.assign(session.requests.names().size() + 1, noNumber);
    valuesOfModels_.resize(numbersOfModels_.size());
    addRequests<true>(session, label);
}

template <bool WithModels>
void StackBuilder::addRequests(const SessionResult& session, std::string_view label) {
    const std::uint32_t number = labels_.numberOf(label);
    TimeRange stretch;
    RunningSum ofLabel, ofAll, ofModel;
    auto model = StringPool::none;
    [[maybe_unused]] const auto turnToModel = [&](StringPool::Index index) {
        model = index;
        ofModel.turnTo(modelValue(session, index));
    };
    for (const RequestRecord& request : session.requests.records()) {
        if (!stretch.contains(request.time)) [[unlikely]] {
            if (!covers(request.time)) continue;
            stretch = enter(request.time);
            ofLabel.turnTo(valueOf(bucket_->parts, number));
            ofAll.turnTo(bucket_->total);
            if constexpr (WithModels) {
                std::fill(valuesOfModels_.begin(), valuesOfModels_.end(), nullptr);
                turnToModel(request.model);
            }
        }
        ofLabel.add(request.d.totalTokens);
        ofAll.add(request.d.totalTokens);
        if constexpr (WithModels) {
            if (request.model != model) [[unlikely]]
                turnToModel(request.model);
            ofModel.add(request.d.totalTokens);
        }
    }
    for (RunningSum* sum : {&ofLabel, &ofAll, &ofModel})
        sum->store();
}

bool StackBuilder::covers(Instant ts) const {
    return TSDate::isWithinCalendar(ts) && (!range_ || range_->contains(ts));
}

TimeRange StackBuilder::enter(Instant ts) {
    auto known = stretches_.upper_bound(ts);
    if (known == stretches_.begin() || ts >= (--known)->second.end) {
        const bool isByWeek = unit_ == StackUnit::isoWeek;
        const TimeRange found = isByWeek ? TSDate::isoWeekStretch(ts) : TSDate::localDayStretch(ts);
        Bucket& bucket = buckets_[isByWeek ? TSDate::isoWeekKey(ts) : TSDate::localDayKey(ts)];
        known = stretches_.insert_or_assign(found.start, Stretch{found.end, &bucket}).first;
    }
    bucket_ = known->second.bucket;
    const TimeRange stretch{known->first, known->second.end};
    return range_ ? overlap(stretch, *range_) : stretch;
}

std::int64_t& StackBuilder::modelValue(const SessionResult& session, StringPool::Index model) {
    const std::size_t index = std::min<std::size_t>(model, valuesOfModels_.size() - 1);
    std::int64_t*& value = valuesOfModels_[index];
    if (!value) value = &valueOf(bucket_->modelParts, modelNumber(session, index));
    return *value;
}

std::uint32_t StackBuilder::modelNumber(const SessionResult& session, std::size_t index) {
    std::uint32_t& number = numbersOfModels_[index];
    if (number != noNumber) return number;
    const StringPool& names = session.requests.names();
    const bool isOwn = index < names.size();
    number = models_.numberOf(isOwn ? names[static_cast<StringPool::Index>(index)] : modelLabel(session));
    return number;
}

std::int64_t& StackBuilder::valueOf(Parts& parts, std::uint32_t number) {
    if (number >= parts.size()) parts.resize(number + 1);
    parts[number].isPresent = true;
    return parts[number].value;
}

std::uint32_t StackBuilder::Labels::numberOf(std::string_view label) {
    if (latest_ < labels_.size() && labels_[latest_] == label) return latest_;
    const auto [entry, isNew] = numbers_.try_emplace(label, static_cast<std::uint32_t>(labels_.size()));
    if (isNew) labels_.push_back(label);
    return latest_ = entry->second;
}

std::map<std::string, std::int64_t> StackBuilder::named(const Parts& parts, const Labels& labels) {
    std::map<std::string, std::int64_t> values;
    for (std::size_t number = 0; number < parts.size(); ++number)
        if (parts[number].isPresent) values.emplace(labels[number], parts[number].value);
    return values;
}

std::vector<DayStack> StackBuilder::stacks() const {
    std::vector<DayStack> stacks;
    for (const auto& [key, bucket] : buckets_)
        stacks.push_back({key, named(bucket.parts, labels_), bucket.total});
    return stacks;
}

std::vector<DayStack> StackBuilder::modelStacks() const {
    std::vector<DayStack> stacks;
    for (const auto& [key, bucket] : buckets_)
        stacks.push_back({key, named(bucket.modelParts, models_), bucket.total});
    return stacks;
}

std::vector<LegendEntry> legendOf(const std::vector<DayStack>& stacks) {
    std::map<std::string_view, std::int64_t> sums;
    for (const DayStack& stack : stacks)
        for (const auto& [label, tokens] : stack.parts)
            addFromOutside(sums[label], tokens);
    std::int64_t total = 0;
    for (const auto& [label, value] : sums)
        addFromOutside(total, value);
    std::vector<LegendEntry> legend;
    for (const auto& [label, value] : sums) {
        const double fraction = total < 1 ? 0 : static_cast<double>(value) / static_cast<double>(total);
        legend.push_back({std::string(label), value, fraction});
    }
    std::stable_sort(legend.begin(), legend.end(),
                     [](const LegendEntry& a, const LegendEntry& b) { return a.value > b.value; });
    return legend;
}

std::string_view modelLabel(const SessionResult& session) {
    return session.model ? std::string_view(*session.model) : "unknown";
}

}  // namespace ledgerfern
