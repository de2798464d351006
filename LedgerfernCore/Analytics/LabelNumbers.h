#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ledgerfern {

/// Numbers the labels of many sessions in the order in which they first come. Sessions have much the same
/// labels in the same order, so what came next the last time mostly comes next again, and is found without a
/// search. The texts must outlive it.
class LabelNumbers {
public:
    /// Must be called before a session's first label.
    void beginSession() { latest_ = none; }
    /// The number of the session's next label.
    std::size_t numberOf(std::string_view label) {
        const std::size_t expected = next_[latest_];
        if (expected != none && texts_[expected - 1] == label) return take(expected);
        const auto [entry, isNew] = numbers_.try_emplace(label, texts_.size() + 1);
        if (isNew) add(label);
        next_[latest_] = entry->second;
        return take(entry->second);
    }

    /// By number.
    const std::vector<std::string_view>& texts() const { return texts_; }

private:
    static constexpr std::size_t none = 0;  // the others are numbers plus 1

    std::size_t take(std::size_t label) {
        latest_ = label;
        return label - 1;
    }
    void add(std::string_view label) {
        texts_.push_back(label);
        next_.push_back(none);
    }

    std::vector<std::string_view> texts_;
    std::vector<std::size_t> next_ = {none};  // what came next the last time
    std::unordered_map<std::string_view, std::size_t> numbers_;
    std::size_t latest_ = none;
};

}  // namespace ledgerfern
