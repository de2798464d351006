#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Random.h"
#include "TextPool.h"

namespace ledgerfern::bench {

constexpr double longestText = 190'000;  // bytes

/// The texts that all sessions of a tree are made of.
struct SessionTexts {
    /// Lengths are `scale` times those of real logs, but for the longest.
    explicit SessionTexts(Random random, double textScale = 1)
        : scale(textScale),
          code(TextPool::code(random)),
          prose(TextPool::prose(random)),
          base64(TextPool::base64(random)) {}

    double scale;
    TextPool code;
    TextPool prose;
    TextPool base64;
};

/// Writes the lines of one invented session, turn by turn.
class SessionWriter {
public:
    /// `start` is in milliseconds since the epoch.
    SessionWriter(const SessionTexts& texts, Random random, std::int64_t start);
    virtual ~SessionWriter() = default;

    const std::string& id() const { return sessionId; }
    const std::string& cwd() const { return workFolder; }

    /// Appends the session's first lines to `out`.
    void begin(std::string& out);
    /// Appends one more turn, or its beginning, until `out` has `limit` bytes.
    void turn(std::string& out, std::size_t limit);

protected:
    virtual void writeBeginning() = 0;
    virtual void writeTurn(std::size_t limit) = 0;

    // Every member leaves a comma behind it, which the end of its object replaces.
    void member(std::string_view key, std::string_view value);
    void count(std::string_view key, std::uint64_t value);
    void text(std::string_view key, const TextPool& pool, double median, double sigma);
    void raw(std::string_view json) { *out_ += json; }
    void endObject();
    std::string timestamp() const;
    std::string hexadecimal(std::size_t digits) { return dice.text("0123456789abcdef", digits); }
    std::string letters(std::size_t count);
    std::string uuid();
    std::size_t length() const { return out_->size(); }

    const SessionTexts& allTexts;
    Random dice;
    std::int64_t presentTime;  // milliseconds since the epoch
    std::string sessionId;
    std::string workFolder;

private:
    std::string* out_ = nullptr;
};

}  // namespace ledgerfern::bench
