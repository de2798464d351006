#include "UsageTable.h"

#include <algorithm>

#include "Analytics/CostEstimator.h"
#include "Analytics/Formats.h"
#include "PrintableText.h"
#include "ValueText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t barWidth = 12;

double share(std::int64_t part, std::int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0;
}

}  // namespace

std::string counted(std::int64_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string costText(const std::optional<double>& cost) {
    return cost ? CostEstimator::fmtUSD(*cost) : "—";
}

std::string costText(const UsageRow& row) {
    return (row.costIsPartial ? "≥" : "") + costText(row.cost);
}

std::string usageText(const UsageRow& row) {
    std::string text = fmtTokens(row.tokens) + " tokens · " + counted(row.requests, "request");
    if (row.cost) text += " · " + costText(row) + " at list prices";
    return text;
}

std::string splitText(const UsageTotals& totals) {
    std::string text = fmtTokens(totals.inputTokens) + " input";
    if (totals.inputTokens > 0)
        text += " (" +
                percentText(static_cast<double>(totals.cachedInputTokens) /
                            static_cast<double>(totals.inputTokens) * 100) +
                " from the cache)";
    return text + " · " + fmtTokens(totals.outputTokens) + " output · " +
           fmtTokens(totals.reasoningOutputTokens) + " reasoning";
}

std::string sessionsText(const UsageSummary& usage) {
    std::string text = counted(usage.all.sessions, "session");
    if (usage.unpricedSessions > 0)
        text += " · " + std::to_string(usage.unpricedSessions) + " without a known price";
    return text;
}

Table usageTable(std::string_view title, const std::vector<UsageRow>& rows, std::size_t shown,
                 std::string_view rest) {
    Table table({{std::string(title), Align::left, 18},
                 {"", Align::left, std::nullopt, 1},
                 {"tokens", Align::right},
                 {"requests", Align::right, std::nullopt, 3},
                 {"sessions", Align::right, std::nullopt, 2},
                 {"cost", Align::right, std::nullopt, 4}});
    std::int64_t largest = 0;
    for (const UsageRow& row : rows)
        largest = std::max(largest, row.tokens);
    if (rows.size() == shown + 1) ++shown;  // the line that would tell of one more has room for it
    for (std::size_t i = 0; i < std::min(shown, rows.size()); ++i) {
        const UsageRow& row = rows[i];
        table.addRow({printableName(row.name), shareBar(share(row.tokens, largest), barWidth),
                      fmtTokens(row.tokens), std::to_string(row.requests), std::to_string(row.sessions),
                      costText(row)});
    }
    if (rows.size() > shown)
        table.addRow({"… and " + std::to_string(rows.size() - shown) + " " + std::string(rest)});
    return table;
}

Table usageTable(std::string_view title, const std::vector<UsageRow>& rows) {
    return usageTable(title, rows, rows.size(), "");
}

void Page::heading(std::string_view title, Tone tone) {
    if (!text_.empty()) text_ += "\n";
    sentence(title, 0, 0, tone);
}

void Page::sentence(std::string_view sentence, std::size_t indent, std::size_t hanging, Tone tone) {
    std::string lines = wrapped(isolated(printable(sentence)), width_, indent, hanging);
    lines.pop_back();
    text_ += palette_.paint(tone, lines) + "\n";
}

void Page::table(const Table& table) {
    if (table.isEmpty()) return;
    if (!text_.empty()) text_ += "\n";
    text_ += table.text(width_, palette_);
}

}  // namespace ledgerfern
