#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Foundation/StringPool.h"
#include "UsageRecords/Records.h"

namespace ledgerfern {

/// A session's statistics by tool label, in ascending order of the labels' bytes. The labels lie in a pool
/// that the session's requests share.
class ToolTable {
public:
    struct Row {
        StringPool::Index label = StringPool::none;
        ToolStat stat;
    };
    struct Entry {
        std::string_view label;
        const ToolStat& stat;
    };

    ToolTable() = default;
    /// The rows in any order, each label once.
    ToolTable(StringPool names, std::vector<Row> rows);
    /// For rows that come from elsewhere; a label that occurs twice keeps its last.
    explicit ToolTable(const std::vector<std::pair<std::string, ToolStat>>& rows);

    std::size_t size() const { return rows_.size(); }
    bool empty() const { return rows_.empty(); }
    Entry operator[](std::size_t index) const { return {names_[rows_[index].label], rows_[index].stat}; }
    /// Absent (null) where the session has no such label. Lives as long as the table.
    const ToolStat* find(std::string_view label) const;

    class Iterator {
    public:
        Iterator(const ToolTable& table, std::size_t index) : table_(&table), index_(index) {}
        Entry operator*() const { return (*table_)[index_]; }
        Iterator& operator++() {
            ++index_;
            return *this;
        }
        bool operator==(const Iterator& other) const { return index_ == other.index_; }

    private:
        const ToolTable* table_;
        std::size_t index_;
    };
    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size()}; }

    bool operator==(const ToolTable& other) const;

private:
    StringPool names_;
    std::vector<Row> rows_;
};

}  // namespace ledgerfern
