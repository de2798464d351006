#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Color.h"

namespace ledgerfern {

enum class Align { left, right };

struct Column {
    std::string heading;
    Align align = Align::right;
    /// Where the room is short, the texts of the one column that has this are cut in the middle, down to so
    /// many columns of the terminal. Where that isn't enough, those of the others are cut to 20.
    std::optional<std::size_t> leastWidth = std::nullopt;
    /// Where it is still short, columns are left out, the one with the smallest number first; those with 0
    /// stay.
    int dropOrder = 0;
};

struct Cell {
    Cell(std::string_view content, Tone seenAs = Tone::plain);
    Cell(const std::string& content, Tone seenAs = Tone::plain) : Cell(std::string_view(content), seenAs) {}
    Cell(const char* content, Tone seenAs = Tone::plain) : Cell(std::string_view(content), seenAs) {}

    std::string text;  ///< Made `printable`.
    Tone tone;
};

/// Rows of texts in columns that are aligned by what a terminal shows. The rows stand two blanks in, below
/// the headings, of which the first is the table's title. A column whose cells are all empty isn't
/// shown.
class Table {
public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /// One cell a column; those missing at the end are empty.
    void addRow(std::vector<Cell> cells);
    bool isEmpty() const { return rows_.empty(); }
    /// Lines of at most `width` columns, if the columns that stay can be made to fit.
    std::string text(std::size_t width, const Palette& palette) const;

private:
    struct Layout {
        std::vector<std::size_t> columns;  // indices of those that are shown
        std::vector<std::size_t> widths;   // of those, in the same order
    };

    bool hasText(std::size_t column) const;
    std::size_t naturalWidth(std::size_t column) const;
    std::size_t cutWidth(std::size_t column) const;
    Layout layout(std::size_t width) const;
    std::size_t leastTotal(const Layout& layout) const;
    bool shrinkOrDrop(Layout& layout, std::size_t excess) const;
    std::string line(const std::vector<Cell>& cells, const Layout& layout, std::size_t margin,
                     const Palette& palette) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

/// A bar of block characters for a share of 0 to 1, padded to `columns`.
std::string shareBar(double share, std::size_t columns);

}  // namespace ledgerfern
