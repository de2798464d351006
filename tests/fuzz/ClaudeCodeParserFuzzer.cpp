#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "Foundation/Check.h"
#include "core/ParsedText.h"

namespace {

using namespace ledgerfern;
using ClaudeCodeParser::State;

/// Feeds the bytes in one update, in reads of the scratch's size.
void feed(State& state, std::string_view bytes, ReadScratch& scratch) {
    ClaudeCodeParser::updateState(test::readsOf(bytes), state, scratch);
}

SessionResult result(const State& state) {
    return ClaudeCodeParser::finalize(state, "/x.jsonl");
}

UsageTotals sum(const RequestList& requests) {
    UsageTotals total;
    for (const RequestRecord& request : requests.records())
        total.add(request.d);
    return total;
}

}  // namespace

/// The first two bytes choose a size of reads and a place to cut the rest into two updates. Neither changes
/// the state.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    ReadScratch large(1 << 16), small(std::size_t{data[0]} + 1);
    State whole, inReads, inSteps;
    feed(whole, bytes, large);
    feed(inReads, bytes, small);
    const std::size_t cut = bytes.size() * data[1] / 256;
    feed(inSteps, bytes.substr(0, cut), large);
    result(inSteps);
    feed(inSteps, bytes.substr(cut), large);
    const SessionResult all = result(whole);
    for (const State* other : {&inReads, &inSteps}) {
        check(result(*other) == all, "the result depends on the reads");
        check(whole.malformedLines == other->malformedLines, "the malformed lines depend on the reads");
        check(whole.pendingPartial == other->pendingPartial, "the rest depends on the reads");
    }
    check(whole.bytesConsumed == bytes.size(), "bytes were lost");
    check(all.totals == sum(all.requests), "the totals aren't the sum of the requests");

    State copy = whole;
    ClaudeCodeParser::finishEOF(copy);
    check(copy.pendingPartial.empty(), "a finished state is open");
    check(result(whole) == all, "finishing a copy changed the original");
    return 0;
}
