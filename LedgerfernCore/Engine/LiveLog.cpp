#include "Engine/LiveLog.h"

#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "Foundation/Paths.h"
#include "Foundation/UnicodeText.h"
#include "RolloutParser/RolloutParser.h"

namespace ledgerfern {

namespace {

// The functions of Claude Code's parser are found by the type of its state.
using RolloutParser::finalize;
using RolloutParser::finishEOF;
using RolloutParser::shrinkToFit;
using RolloutParser::updateState;
using RolloutParser::usable;

std::optional<std::string> sessionIDOf(const ParseState&, const std::string& path) {
    return sessionIDForPath(path);
}
std::optional<std::string> sessionIDOf(const ClaudeCodeParser::State& state, const std::string&) {
    return state.sessionId;
}

void addTo(FormatHealth::Report& report, const ParseState& state) {
    report.codex.push_back({state.metaSet, state.sawRequests, state.responseItems});
}
void addTo(FormatHealth::Report& report, const ClaudeCodeParser::State& state) {
    report.claude.push_back({static_cast<std::int64_t>(state.requests.size()), state.assistantWithoutUsage});
}

template <class State>
class LogOf : public LiveLog {
public:
    explicit LogOf(State state = {}) : state_(std::move(state)) {}

    SessionResult finished(const std::string& path) const override {
        State state = state_;
        finishEOF(state);
        return finalize(state, path);
    }
    bool isUsable() const override { return usable(state_); }
    std::optional<std::string> ownSessionID(const std::string& path) const override {
        return sessionIDOf(state_, path);
    }
    std::uint64_t bytesConsumed() const override { return state_.bytesConsumed; }
    std::int64_t malformedLines() const override { return state_.malformedLines; }
    std::optional<Instant> lastTs() const override { return state_.lastTs; }
    void reportTo(FormatHealth::Report& report) const override { addTo(report, state_); }
    void giveBackRoom() override { shrinkToFit(state_); }

private:
    bool readTail(const std::string& path, ReadScratch& scratch) override {
        return updateState(path, state_, scratch);
    }
    void finishState() override { finishEOF(state_); }
    SessionResult finalized(const std::string& path) const override { return finalize(state_, path); }

    State state_;
};

}  // namespace

bool LiveLog::read(const std::string& path, ReadScratch& scratch) {
    if (!readTail(path, scratch)) return false;
    published_.reset();
    return true;
}

void LiveLog::finish() {
    finishState();
    published_.reset();
}

SessionPointer LiveLog::result(const std::string& path) {
    if (!published_) published_ = std::make_shared<const SessionResult>(finalized(path));
    return published_;
}

std::unique_ptr<LiveLog> makeLiveLog(ToolKind kind, std::optional<Instant> attribCutoff) {
    if (kind == ToolKind::claudeCode) return std::make_unique<LogOf<ClaudeCodeParser::State>>();
    ParseState state;
    state.attribCutoff = attribCutoff;
    return std::make_unique<LogOf<ParseState>>(std::move(state));
}

std::string sessionIDForPath(std::string_view path) {
    const std::string_view name = lastPathComponent(path);
    if (!name.starts_with("rollout-") || characterCount(name) < 46) return std::string(path);
    return std::string(withoutLastCharacters(withoutFirstCharacters(name, 20), 1));
}

}  // namespace ledgerfern
