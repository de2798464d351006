#include "Table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

#include "Foundation/Check.h"
#include "Foundation/UnicodeText.h"
#include "PrintableText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t indent = 2;
constexpr std::size_t cutTo = 20;  // a column that isn't flexible, where the room is short

std::size_t totalWidth(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(), widths.empty() ? 0 : gap * (widths.size() - 1));
}

/// The cell's text in `width` columns, and the blanks that fill them.
std::string padded(const Cell& cell, std::size_t width, Align align, const Palette& palette) {
    const std::string text = elided(cell.text, width);
    const std::string blanks(width - displayWidth(text), ' ');
    const std::string seen = palette.paint(cell.tone, isolated(text));
    return align == Align::left ? seen + blanks : blanks + seen;
}

}  // namespace

Cell::Cell(std::string_view content, Tone seenAs) : text(printable(content)), tone(seenAs) {}

void Table::addRow(std::vector<Cell> cells) {
    check(!cells.empty() && cells.size() <= columns_.size(), "a table's row has another number of cells");
    cells.resize(columns_.size(), Cell(""));

    rows_.push_back(std::move(cells));
}

bool Table::hasText(std::size_t column) const {
    return std::any_of(rows_.begin(), rows_.end(),
                       [column](const auto& row) { return !row[column].text.empty(); });
}

std::size_t Table::naturalWidth(std::size_t column) const {
    std::size_t width = 0;
    for (const auto& row : rows_)
        width = std::max(width, displayWidth(row[column].text));
    return std::max(displayWidth(columns_[column].heading), width + (column == 0 ? indent : 0));
}

/// What the layout takes once the flexible column has given what it can.
std::size_t Table::leastTotal(const Layout& layout) const {
    std::size_t total = totalWidth(layout.widths);
    for (std::size_t i = 0; i < layout.columns.size(); ++i)
        if (const auto least = columns_[layout.columns[i]].leastWidth; least && *least < layout.widths[i])
            total -= layout.widths[i] - *least;
    return total;
}

std::size_t Table::cutWidth(std::size_t column) const {
    const std::size_t width = naturalWidth(column);
    if (columns_[column].leastWidth) return width;
    return std::min(width, std::max(displayWidth(columns_[column].heading), cutTo));
}

Table::Layout Table::layout(std::size_t width) const {
    Layout result;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (i > 0 && !hasText(i)) continue;
        result.columns.push_back(i);
        result.widths.push_back(naturalWidth(i));
    }
    if (leastTotal(result) > width)
        std::transform(result.columns.begin(), result.columns.end(), result.widths.begin(),
                       [&](std::size_t column) { return cutWidth(column); });
    for (std::size_t total = totalWidth(result.widths); total > width; total = totalWidth(result.widths))
        if (!shrinkOrDrop(result, total - width)) break;
    return result;
}

/// Takes `excess` from the flexible column where that leaves it enough, otherwise leaves a column out, and
/// where none is left to leave out, takes from the flexible column all the same. False where nothing more can
/// be done.
bool Table::shrinkOrDrop(Layout& layout, std::size_t excess) const {
    std::optional<std::size_t> flexible, dropped;
    for (std::size_t i = 0; i < layout.columns.size(); ++i) {
        const Column& column = columns_[layout.columns[i]];
        if (column.leastWidth) flexible = i;
        if (column.dropOrder > 0 &&
            (!dropped || column.dropOrder < columns_[layout.columns[*dropped]].dropOrder))
            dropped = i;
    }
    const std::size_t room = flexible ? layout.widths[*flexible] : 0;
    if (flexible && room >= excess + columns_[layout.columns[*flexible]].leastWidth.value_or(1)) {
        layout.widths[*flexible] -= excess;
        return true;
    }
    if (dropped) {
        layout.columns.erase(layout.columns.begin() + static_cast<std::ptrdiff_t>(*dropped));
        layout.widths.erase(layout.widths.begin() + static_cast<std::ptrdiff_t>(*dropped));
        return true;
    }
    if (flexible) layout.widths[*flexible] -= std::min(excess, room > 0 ? room - 1 : 0);
    return false;
}

std::string Table::line(const std::vector<Cell>& cells, const Layout& layout, std::size_t margin,
                        const Palette& palette) const {
    std::string result;
    for (std::size_t i = 0; i < layout.columns.size(); ++i) {
        const std::size_t column = layout.columns[i];
        const std::size_t before = i == 0 ? std::min(margin, layout.widths[i]) : gap;
        const std::size_t width = i == 0 ? layout.widths[i] - before : layout.widths[i];
        result.append(before, ' ');
        result += padded(cells[column], width, columns_[column].align, palette);
    }
    result.erase(result.find_last_not_of(' ') + 1);
    return result + "\n";
}

std::string Table::text(std::size_t width, const Palette& palette) const {
    const Layout shown = layout(width);
    std::string result;
    std::vector<Cell> headings;
    headings.reserve(columns_.size());
    for (const Column& column : columns_)
        headings.emplace_back(column.heading, Tone::heading);
    if (std::any_of(columns_.begin(), columns_.end(), [](const Column& c) { return !c.heading.empty(); }))
        result += line(headings, shown, 0, palette);
    for (const auto& row : rows_)
        result += line(row, shown, indent, palette);
    return result;
}

std::string shareBar(double share, std::size_t columns) {
    static constexpr std::array<std::string_view, 8> eighths = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const double clamped = std::isfinite(share) ? std::clamp(share, 0.0, 1.0) : 0.0;
    auto parts = static_cast<std::size_t>(std::lround(clamped * static_cast<double>(columns) * 8));
    if (clamped > 0) parts = std::max<std::size_t>(parts, 1);
    std::string bar;
    for (std::size_t i = 0; i < parts / 8; ++i)
        bar += "█";
    bar += eighths[parts % 8];
    return bar + std::string(columns - (parts + 7) / 8, ' ');
}

}  // namespace ledgerfern
