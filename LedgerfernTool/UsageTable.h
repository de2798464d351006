#pragma once

#include <string>
#include <vector>

#include "Analytics/UsageSummary.h"
#include "Table.h"

/// Usage as people read it.
namespace ledgerfern {

/// "1 session", "2 sessions".
std::string counted(std::int64_t count, std::string_view noun);
/// `fmtUSD`, and "—" where there is none.
std::string costText(const std::optional<double>& cost);
/// The row's cost, with "≥" before it where some of it has no price.
std::string costText(const UsageRow& row);
/// Tokens, requests and cost.
std::string usageText(const UsageRow& row);
/// What the tokens were.
std::string splitText(const UsageTotals& totals);
/// How many sessions, and those whose cost isn't known.
std::string sessionsText(const UsageSummary& usage);

/// Rows with a bar each, drawn to the largest; of more than `shown` and one, one line at the end tells how
/// many `rest` there are.
Table usageTable(std::string_view title, const std::vector<UsageRow>& rows, std::size_t shown,
                 std::string_view rest);
/// All rows.
Table usageTable(std::string_view title, const std::vector<UsageRow>& rows);

/// A text for people, one piece below the other. Each is made `printable`.
class Page {
public:
    Page(std::size_t width, const Palette& palette) : width_(width), palette_(palette) {}

    /// A heading; below other pieces an empty line comes before it.
    void heading(std::string_view title, Tone tone = Tone::heading);
    void sentence(std::string_view sentence, std::size_t indent = 2, std::size_t hanging = 0,
                  Tone tone = Tone::plain);
    /// One without rows is left out.
    void table(const Table& table);
    const std::string& text() const { return text_; }

private:
    std::size_t width_;
    const Palette& palette_;
    std::string text_;
};

}  // namespace ledgerfern
