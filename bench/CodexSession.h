#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "SessionWriter.h"

namespace ledgerfern::bench {

/// Writes the lines of one invented Codex session: meta data, then turns of requests with their tool calls.
class CodexSession : public SessionWriter {
public:
    CodexSession(const SessionTexts& texts, Random random, std::int64_t start);

private:
    struct Counters {
        std::uint64_t input = 0, cached = 0, output = 0, reasoning = 0;
    };

    void writeBeginning() override;
    void writeTurn(std::size_t limit) override;

    void open(std::string_view type, std::string_view payloadType = {});
    void close();
    void usage(std::string_view key, const Counters& counters);

    void sessionMeta();
    void worldState();
    void turnContext();
    void settings();
    void message(std::string_view role, double median);
    void reasoning();
    void answer();
    void toolCall();
    void execCommandEnd(std::string_view callID);
    void mcpCallEnd(std::string_view callID);
    void toolOutput(std::string_view callID, bool custom);
    void tokenCount();
    void compaction();
    void request();

    std::string model_;
    std::string turnID_;
    Counters total_;
    std::uint64_t context_ = 12000;  // tokens in the model's window
};

}  // namespace ledgerfern::bench
