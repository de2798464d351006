#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Random.h"
#include "TextPool.h"

namespace ledgerfern::bench {

/// The texts that all sessions of a tree are made of.
struct SessionTexts {
    explicit SessionTexts(Random random)
        : code(TextPool::code(random)), prose(TextPool::prose(random)), base64(TextPool::base64(random)) {}

    TextPool code;
    TextPool prose;
    TextPool base64;
};

/// Writes the lines of one invented Codex session: meta data, then turns of requests with their tool calls.
class CodexSession {
public:
    /// `start` is in milliseconds since the epoch.
    CodexSession(const SessionTexts& texts, Random random, std::int64_t start);

    const std::string& id() const { return id_; }

    /// Appends the session's first lines to `out`.
    void begin(std::string& out);
    /// Appends one more turn, or its beginning, until `out` has `limit` bytes.
    void turn(std::string& out, std::size_t limit);

private:
    struct Counters {
        std::uint64_t input = 0, cached = 0, output = 0, reasoning = 0;
    };

    void open(std::string_view type, std::string_view payloadType = {});
    void close();
    void text(std::string_view key, const TextPool& pool, double median, double sigma);
    void member(std::string_view key, std::string_view value);
    void count(std::string_view key, std::uint64_t value);
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

    std::string uuid();

    const SessionTexts& texts_;
    Random random_;
    std::string* out_ = nullptr;
    std::int64_t now_;  // milliseconds since the epoch
    std::string id_;
    std::string cwd_;
    std::string model_;
    std::string turnID_;
    Counters total_;
    std::uint64_t context_ = 12000;  // tokens in the model's window
};

}  // namespace ledgerfern::bench
