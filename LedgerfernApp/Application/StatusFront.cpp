#include "Application/StatusFront.h"

#include <utility>

#include "Application/AppState.h"

namespace ledgerfern {

namespace {

StatusMenuContent menuContent(const AppState& state) {
    StatusMenuContent content;
    content.statusText = state.statusText().toStdString();
    content.isRescanning = state.refreshInFlight();
    if (!state.snapshot()) return content;
    content.hasSnapshot = true;
    const Aggregates& aggregates = state.snapshot()->aggregates;
    content.codexWeekly = aggregates.latestRateLimit;
    const auto claude = aggregates.latestRateLimitsByTool.find(ToolKind::claudeCode);
    if (claude != aggregates.latestRateLimitsByTool.end()) content.claudeWeekly = claude->second;
    content.claudeFiveHour = state.claudeFiveHour();
    content.todayCostUSD = state.todayCostUSD();
    if (state.lastError()) content.warning = state.lastError()->toStdString();
    return content;
}

StatusItem::Content itemContent(const AppState& state, const StatusMenuContent& menu) {
    StatusItem::Content content;
    content.symbol = state.statusSymbol().toStdString();
    content.text = menu.statusText;
    content.percent = state.worstPercent();
    content.toolTip = statusToolTip(menu);
    return content;
}

}  // namespace

StatusFront::StatusFront(AppState& state, StatusItem& item, std::function<void()> quit)
    : state_(state), item_(item), actions_{[&state] { state.refresh(); }, std::move(quit)} {
    connect(&state, &AppState::applied, this, &StatusFront::update);
    connect(&state, &AppState::refreshInFlightChanged, this, &StatusFront::update);
    update();
}

void StatusFront::update() {
    const StatusMenuContent content = menuContent(state_);
    item_.setContent(itemContent(state_, content));
    if (std::exchange(shown_, content) != content) item_.setMenu(statusMenu(content, actions_));
}

}  // namespace ledgerfern
