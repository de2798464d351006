#include "ClaudeCodeParser/Attribution.h"

#include <algorithm>

#include "Foundation/Arithmetic.h"

namespace ledgerfern::ClaudeCodeParser {

namespace {

std::int64_t byteSum(const std::vector<ContextEntry>& entries) {
    std::int64_t sum = 0;
    for (const ContextEntry& entry : entries)
        sum = checkedAdd(sum, entry.bytes);
    return sum;
}

/// `bytes` of `whole` shares of `tokens`, in double precision, halves away from zero.
std::int64_t share(std::int64_t tokens, std::int64_t bytes, std::int64_t whole) {
    return rounded(static_cast<double>(tokens) * static_cast<double>(bytes) / static_cast<double>(whole))
        .value_or(0);
}

}  // namespace

void attributePending(const State& state, LabelStats& stats) {
    if (!state.pendingIdx) return;
    const UsageTotals& d = state.requests[*state.pendingIdx].d;
    const std::int64_t written = byteSum(state.curAsst);
    const std::int64_t all = std::max<std::int64_t>(checkedAdd(byteSum(state.curAdds), written), 1);
    for (const ContextEntry& entry : state.curAdds)
        if (entry.label != StringPool::none)
            addFromOutside(stats[entry.label].attribInput, share(d.inputTokens, entry.bytes, all));
    for (const ContextEntry& entry : state.curAsst) {
        if (entry.label == StringPool::none) continue;
        ToolStat& stat = stats[entry.label];
        if (state.names[entry.label] != replayedLabel) stat.calls = checkedAdd(stat.calls, 1);
        addFromOutside(stat.attribInput, share(d.inputTokens, entry.bytes, all));
        addFromOutside(stat.attribOutput,
                       share(d.outputTokens, entry.bytes, std::max<std::int64_t>(written, 1)));
    }
}

StringPool::Index dominantLabel(const std::vector<ContextEntry>& entries) {
    const auto largest =
        std::max_element(entries.begin(), entries.end(),
                         [](const ContextEntry& a, const ContextEntry& b) { return a.bytes < b.bytes; });
    return largest == entries.end() ? StringPool::none : largest->label;
}

}  // namespace ledgerfern::ClaudeCodeParser
