#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "SessionWriter.h"

namespace ledgerfern::bench {

/// Writes the lines of one invented Claude Code session: turns of requests, each request as several lines,
/// one for each block of its output, and the results of its tool calls.
class ClaudeSession : public SessionWriter {
public:
    ClaudeSession(const SessionTexts& texts, Random random, std::int64_t start);

private:
    void writeBeginning() override;
    void writeTurn(std::size_t limit) override;

    void open(std::string_view type);
    void close();
    void snapshot();
    void user();
    void attachment();
    void request();
    void openBlock();
    void closeBlock();
    void toolCall();
    void toolResult(std::string_view callID);
    void compaction();

    std::string model_;
    std::string requestID_;
    std::string messageID_;
    std::uint64_t context_ = 18'000;  // tokens in the model's window
    std::uint64_t cached_ = 0;
    std::uint64_t output_ = 0;
};

}  // namespace ledgerfern::bench
