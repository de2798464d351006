#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Foundation/Check.h"
#include "RolloutParser/RolloutParser.h"
#include "core/ParsedText.h"

namespace {

using namespace ledgerfern;

/// Feeds the bytes in one update, in reads of the scratch's size.
void feed(ParseState& state, std::string_view bytes, ReadScratch& scratch) {
    RolloutParser::updateState(test::readsOf(bytes), state, scratch);
}

SessionResult result(const ParseState& state) {
    return RolloutParser::finalize(state, "/x.jsonl");
}

ToolStat sum(const ToolTable& tools) {
    ToolStat total;
    for (const auto& [label, stat] : tools)
        total.add(stat);
    return total;
}

/// Far from the edge of 64 bits, where an addition under one label may be left out and under two be made.
bool isOrdinary(const ToolStat& stat) {
    constexpr std::int64_t limit = std::int64_t{1} << 50;
    return std::abs(stat.attribInput) < limit && std::abs(stat.attribOutput) < limit;
}

}  // namespace

/// The first two bytes choose a size of reads and a place to cut the rest into two updates. Reads of any size
/// give the same state; two updates give the same but for labels.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    ReadScratch large(1 << 16), small(std::size_t{data[0]} + 1);
    ParseState whole, inReads, inSteps;
    feed(whole, bytes, large);
    feed(inReads, bytes, small);
    check(result(whole) == result(inReads), "the result depends on the reads");
    check(whole.malformedLines == inReads.malformedLines, "the malformed lines depend on the reads");
    check(whole.pendingPartial == inReads.pendingPartial, "the rest depends on the reads");
    check(whole.bytesConsumed == bytes.size(), "bytes were lost");

    const std::size_t cut = bytes.size() * data[1] / 256;
    feed(inSteps, bytes.substr(0, cut), large);
    feed(inSteps, bytes.substr(cut), large);
    const SessionResult all = result(whole), steps = result(inSteps);
    check(all.totals == steps.totals && all.lastTs == steps.lastTs && all.rlDaily == steps.rlDaily &&
              all.insights == steps.insights && all.requests.size() == steps.requests.size(),
          "the result depends on the updates");
    const ToolStat attributed = sum(all.tools), attributedInSteps = sum(steps.tools);
    if (isOrdinary(attributed) && isOrdinary(attributedInSteps))
        check(attributed == attributedInSteps, "what is attributed depends on the updates");

    ParseState copy = whole;
    RolloutParser::finishEOF(copy);
    check(copy.pendingPartial.empty() && !copy.segCum, "a finished state is open");
    check(result(whole) == all, "finishing a copy changed the original");
    return 0;
}
