#include "ReportText.h"

#include <algorithm>
#include <vector>

#include "Analytics/CostEstimator.h"
#include "Analytics/Formats.h"
#include "LimitTable.h"
#include "PrintableText.h"
#include "Table.h"
#include "UsageSummary.h"
#include "ValueText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t barWidth = 12;
constexpr std::size_t shownNames = 10;
constexpr std::size_t shownDays = 14;

/// The texts of a report, one below the other.
class Report {
public:
    Report(std::size_t width, const Palette& palette) : width_(width), palette_(palette) {}

    void heading(std::string_view title) { text_ += "\n" + palette_.paint(Tone::heading, title) + "\n"; }
    void sentence(std::string_view sentence, std::size_t indent = 2) {
        text_ += wrapped(sentence, width_, indent);
    }
    /// One without rows is left out.
    void table(const Table& table) {
        if (!table.isEmpty()) text_ += "\n" + table.text(width_, palette_);
    }
    void title(std::string_view title) { text_ += palette_.paint(Tone::heading, title) + "\n"; }
    const std::string& text() const { return text_; }

private:
    std::size_t width_;
    const Palette& palette_;
    std::string text_;
};

std::string counted(std::int64_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string costText(const std::optional<double>& cost) {
    return cost ? CostEstimator::fmtUSD(*cost) : "—";
}

std::string usageText(const UsageRow& row) {
    std::string text = fmtTokens(row.tokens) + " tokens · " + counted(row.requests, "request");
    if (row.cost) text += " · " + CostEstimator::fmtUSD(*row.cost) + " at list prices";
    return text;
}

std::string splitText(const UsageTotals& totals) {
    std::string text = fmtTokens(totals.inputTokens) + " input";
    if (totals.inputTokens > 0) {
        const double share =
            static_cast<double>(totals.cachedInputTokens) / static_cast<double>(totals.inputTokens);
        text += " (" + percentText(share * 100) + " from the cache)";
    }
    return text + " · " + fmtTokens(totals.outputTokens) + " output · " +
           fmtTokens(totals.reasoningOutputTokens) + " reasoning";
}

double share(std::int64_t part, std::int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0;
}

/// Rows with a bar each, drawn to the largest; of more than `shown`, one line at the end tells how many.
Table usageTable(std::string_view title, const std::vector<UsageRow>& rows, std::size_t shown,
                 std::string_view rest) {
    Table table({{std::string(title), Align::left, 12},
                 {"", Align::left, std::nullopt, 1},
                 {"tokens", Align::right},
                 {"requests", Align::right, std::nullopt, 3},
                 {"sessions", Align::right, std::nullopt, 2},
                 {"cost", Align::right, std::nullopt, 4}});
    std::int64_t largest = 0;
    for (const UsageRow& row : rows)
        largest = std::max(largest, row.tokens);
    for (std::size_t i = 0; i < std::min(shown, rows.size()); ++i) {
        const UsageRow& row = rows[i];
        table.addRow({printableName(row.name), shareBar(share(row.tokens, largest), barWidth),
                      fmtTokens(row.tokens), std::to_string(row.requests), std::to_string(row.sessions),
                      costText(row.cost)});
    }
    if (rows.size() > shown)
        table.addRow({"… and " + std::to_string(rows.size() - shown) + " " + std::string(rest)});
    return table;
}

void addNotes(Report& report, const Snapshot& snapshot) {
    if (snapshot.formatWarnings.empty() && snapshot.malformedLines == 0) return;
    report.heading("Notes");
    for (const std::string& warning : snapshot.formatWarnings)
        report.sentence(warning);
    if (snapshot.malformedLines == 1)
        report.sentence("1 line of the logs isn't valid JSON and was left out.");
    if (snapshot.malformedLines > 1)
        report.sentence(std::to_string(snapshot.malformedLines) +
                        " lines of the logs aren't valid JSON and were left out.");
}

std::string folderList(const std::vector<std::string>& folders) {
    std::string list;
    for (std::size_t i = 0; i < folders.size(); ++i)
        list += (i == 0 ? "" : i + 1 == folders.size() ? " and " : ", ") + printable(folders[i]);
    return list;
}

void addEmpty(Report& report, const Scan& scan) {
    const std::int64_t files = scan.snapshot.aggregates.filesScanned;
    const std::string place = " below " + folderList(scan.folders);
    if (files == 0)
        report.sentence(
            "No session logs were found" + place +
                "; run a session in Codex or Claude Code, or name another folder with --codex or --claude.",
            0);
    else
        report.sentence("No usage was found in " + counted(files, "session log") + place + ".", 0);
    addNotes(report, scan.snapshot);
}

void addLimits(Report& report, const Scan& scan) {
    if (const auto limits = limitTable(scan.snapshot.aggregates, scan.now)) return report.table(*limits);
    report.heading("Limits");
    report.sentence("none known");
}

void addTotals(Report& report, const Scan& scan, const UsageSummary& usage) {
    report.heading("Today");
    report.sentence(usage.today.requests > 0 ? usageText(usage.today) : "nothing yet");
    report.heading("All time");
    report.sentence(usageText(usage.all));
    report.sentence(splitText(scan.snapshot.aggregates.totals));
    std::string sessions = counted(usage.all.sessions, "session") + " in " +
                           counted(scan.snapshot.aggregates.filesScanned, "log file");
    if (usage.unpricedSessions > 0)
        sessions += " · " + std::to_string(usage.unpricedSessions) + " without a known price";
    report.sentence(sessions);
}

/// Why the models' costs don't add up to the others', where they don't.
void addModelCostNote(Report& report, const UsageSummary& usage) {
    std::optional<double> sum;
    for (const UsageRow& model : usage.models)
        if (model.cost) sum = sum.value_or(0) + *model.cost;
    if (costText(sum) == costText(usage.all.cost)) return;
    report.sentence(
        "By model the costs come to " + costText(sum) +
        ", with each request at its own model's price; elsewhere a session's totals are at its last "
        "model's.");
}

}  // namespace

std::string reportText(const Scan& scan, const PriceTable& prices, std::size_t width,
                       const Palette& palette) {
    Report report(width, palette);
    if (scan.snapshot.sessions.empty()) {
        addEmpty(report, scan);
        return report.text();
    }
    const UsageSummary usage = summarise(scan.snapshot, prices, scan.now);
    report.title("Ledgerfern · " + fmtLocalTime(scan.now));
    addLimits(report, scan);
    addTotals(report, scan, usage);
    report.table(usageTable("Projects", usage.projects, shownNames, "more"));
    report.table(usageTable("Models", usage.models, shownNames, "more"));
    addModelCostNote(report, usage);
    if (usage.agents.size() > 1) report.table(usageTable("Agents", usage.agents, shownNames, "more"));
    report.table(usageTable("Days", usage.days, shownDays, "earlier"));
    addNotes(report, scan.snapshot);
    return report.text();
}

}  // namespace ledgerfern
