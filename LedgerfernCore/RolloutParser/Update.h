#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Foundation/JsonReader.h"
#include "Parsing/ReadScratch.h"
#include "RolloutParser/Envelope.h"
#include "RolloutParser/ParseState.h"

namespace ledgerfern::RolloutParser {

/// One pass over new lines of a rollout file.
///
/// The rule is that every new line has its say on the labels of calls before anything is attributed; and each
/// line is read and parsed only once. So while lines come in, their items gather in the state's window with
/// the number of their call in place of a label, and each closed request remembers which items are its own.
/// `settle` puts the labels in and attributes, request by request.
///
/// The invariant: between updates no item of the window has an open label, and no request is unattributed.
class Update {
public:
    Update(ParseState& state, ReadScratch& scratch) : state_(state), scratch_(scratch) {}

    /// A whole line, with the reader's padding behind it: its say on labels, and its effect.
    void takeLine(std::string_view line);
    /// The say on labels alone, of a line with padding behind it.
    void takeLabels(std::string_view line);
    /// The effect alone, of a line with padding behind it.
    void applyLine(std::string_view line);
    /// Ends the pass.
    void settle();

private:
    struct ClosedRequest {
        std::size_t request;    ///< Its index in `requests`.
        std::size_t windowEnd;  ///< Where its items end in `window`; they start where those before it end.
        std::int64_t input;
        std::int64_t lastOutput;
        bool attribute;  ///< False past the cut-off.
    };

    // The line as a whole: Update.cpp
    void dispatch(const Envelope& line);
    void dispatchEvent(const Envelope& line);
    void openSegment(const Envelope& line);

    // Labels: Labels.cpp
    void resolveLabels(const Envelope& line);
    void labelCall(const Envelope& line);
    void labelMcpCall(const Envelope& line);
    std::string rawLabel(const Envelope& line);

    // Items of the window: Items.cpp
    void takeItem(const Envelope& line);
    void takeMessage(const Envelope& line);
    void addItem(RequestItemKind kind, std::string_view label, std::int64_t bytes);
    void addCallItem(RequestItemKind kind, const Envelope& line, std::string_view fallback,
                     std::int64_t bytes);

    // Requests: Accounting.cpp
    void countTokens(const Envelope& line);
    void flush(const UsageTotals& total, std::optional<std::int64_t> lastOutProvided,
               std::optional<Instant> ts, const std::optional<UsageTotals>& last);
    void readRateLimits(const JsonObject& limits, std::optional<Instant> ts);
    StringPool::Index dominantLabel(std::size_t begin, std::size_t end) const;
    void attribute(const ClosedRequest& request, std::size_t windowBegin);
    std::size_t openWindowBegin() const { return closed_.empty() ? 0 : closed_.back().windowEnd; }

    ParseState& state_;
    ReadScratch& scratch_;
    std::vector<ClosedRequest> closed_;
};

}  // namespace ledgerfern::RolloutParser
