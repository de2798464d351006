#include "SessionText.h"

#include <algorithm>
#include <set>

#include "Analytics/CostEstimator.h"
#include "Analytics/Formats.h"
#include "Analytics/SessionNaming.h"
#include "PrintableText.h"
#include "Table.h"
#include "UsageRecords/TSDate.h"
#include "ValueText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t shownRequests = 400;

}  // namespace

std::size_t firstShownRequest(const SessionResult& session) {
    const std::size_t count = session.requests.size();
    return count - std::min(count, shownRequests);
}

namespace {

constexpr std::string_view unknown = "—";

/// From when to when the session ran; the end that isn't known is left out.
std::string spanText(const SessionResult& session) {
    const std::string from = timeText(session.started), to = timeText(session.lastTs);
    if (from == unknown) return to == unknown ? "at an unknown time" : "until " + to;
    return to == unknown ? "from " + from : from + " to " + to;
}

/// The session's name and figures.
std::string header(const SessionResult& session, const std::string& name, const PriceTable& prices,
                   std::size_t width, const Palette& palette) {
    const UsageTotals& totals = session.totals;
    std::string text = palette.paint(Tone::heading, isolated(elided(printableName(name), width))) + "\n";
    const auto line = [&](const std::string& content) {
        text += wrapped(isolated(printable(content)), width, 2, 2);
    };
    line(printableName(session.project) + " · " + std::string(SessionKind::label(session)) + " · " +
         printableName(session.model.value_or("unknown model")));
    line(spanText(session));
    line(fmtTokens(totals.inputTokens) + " input · " + fmtTokens(totals.cachedInputTokens) +
         " cached input · " + fmtTokens(totals.outputTokens) + " output · " +
         fmtTokens(totals.reasoningOutputTokens) + " reasoning · " + fmtTokens(totals.totalTokens) +
         " total");
    std::string counts =
        std::to_string(session.requests.size()) + (session.requests.size() == 1 ? " request" : " requests");
    if (const auto price = prices.priceFor(session.model))
        counts += " · " + CostEstimator::fmtUSD(CostEstimator::cost(totals, price)) + " at list prices";
    if (session.requests.size() > shownRequests)
        counts += " · the last " + std::to_string(shownRequests) + " follow";
    line(counts);
    line(session.path);
    return text;
}

/// True where a request was served by another model than the session's.
bool hasOtherModels(const SessionResult& session) {
    for (std::size_t i = 0; i < session.requests.size(); ++i) {
        const auto model = session.requests[i].model;
        if (model && model != session.model) return true;
    }
    return false;
}

/// True where the header tells the day of every request that is shown.
bool isOfOneDay(const SessionResult& session) {
    std::set<std::string> days;
    const auto add = [&](std::optional<Instant> instant) {
        if (instant) days.insert(TSDate::localDayKey(*instant));
    };
    add(session.started);
    add(session.lastTs);
    for (std::size_t i = firstShownRequest(session); i < session.requests.size(); ++i)
        add(session.requests[i].ts);
    return days.size() <= 1;
}

/// Without the year, which stands in the session's header, and on wish without the day.
std::string shortTimeText(std::optional<Instant> instant, bool hasDay) {
    const std::string text = timeText(instant);
    return text == unknown ? text : text.substr(hasDay ? 5 : 11);
}

/// Where the room is short, input and output stay longest beside the cost or, where there is none, the total.
Table emptyRequestTable(bool hasCost) {
    return Table({{"Requests", Align::left},
                  {"input", Align::right, std::nullopt, 7},
                  {"cached", Align::right, std::nullopt, 5},
                  {"output", Align::right, std::nullopt, 6},
                  {"reasoning", Align::right, std::nullopt, 3},
                  {"total", Align::right, std::nullopt, hasCost ? 4 : 0},
                  {"cost"},
                  {"model", Align::left, std::nullopt, 1},
                  {"added most", Align::left, 10, 2}});
}

Table requestTable(const SessionResult& session, const PriceTable& prices) {
    const auto price = prices.priceFor(session.model);
    const bool hasDays = !isOfOneDay(session), hasModels = hasOtherModels(session);
    const bool hasReasoning = session.totals.reasoningOutputTokens != 0;
    Table table = emptyRequestTable(price.has_value());
    for (std::size_t i = firstShownRequest(session); i < session.requests.size(); ++i) {
        const RequestDelta request = session.requests[i];
        const UsageTotals& tokens = request.d;
        table.addRow({shortTimeText(request.ts, hasDays), fmtTokens(tokens.inputTokens),
                      fmtTokens(tokens.cachedInputTokens), fmtTokens(tokens.outputTokens),
                      hasReasoning ? fmtTokens(tokens.reasoningOutputTokens) : "",
                      fmtTokens(tokens.totalTokens),
                      price ? CostEstimator::fmtUSD(CostEstimator::cost(tokens, price)) : "",
                      hasModels ? std::string(request.model.value_or("—")) : "",
                      std::string(request.dominant.value_or("—"))});
    }
    return table;
}

}  // namespace

std::string sessionText(const SessionResult& session, const std::string& name, const PriceTable& prices,
                        std::size_t width, const Palette& palette) {
    std::string text = header(session, name, prices, width, palette);
    const Table requests = requestTable(session, prices);
    if (!requests.isEmpty()) text += "\n" + requests.text(width, palette);
    return text;
}

}  // namespace ledgerfern
