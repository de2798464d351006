#include "Reference.h"

#include <fcntl.h>
#include <simdjson.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>

namespace ledgerfern::bench {

namespace {

constexpr std::size_t blockSize = std::size_t{4} << 20;

constexpr std::size_t lanes = 16;
using Bytes = std::uint8_t __attribute__((vector_size(lanes)));

Bytes load(const char* data) {
    Bytes bytes;
    std::memcpy(&bytes, data, lanes);
    return bytes;
}

/// The markers of one agent's logs, and the letters with which they start behind their quote.
struct CodexMarkers {
    static constexpr std::array<std::string_view, 8> all = {
        "\"session_meta\"", "\"response_item\"",           "\"token_count\"", "\"context_compacted\"",
        "\"compacted\"",    "\"thread_settings_applied\"", "\"rate_limits\"", "\"event_msg\"",
    };
    static auto letters(Bytes first, Bytes second) {
        return ((first == 's') | (first == 'r') | (first == 't') | (first == 'c') | (first == 'e')) &
               ((second == 'e') | (second == 'o') | (second == 'h') | (second == 'a') | (second == 'v'));
    }
};

struct ClaudeMarkers {
    static constexpr std::array<std::string_view, 4> all = {"\"cache_read_input_tokens\"", "\"input_tokens\"",
                                                            "\"cwd\"", "\"compact_boundary\""};
    static auto letters(Bytes first, Bytes second) {
        return ((first == 'c') | (first == 'i')) &
               ((second == 'a') | (second == 'n') | (second == 'w') | (second == 'o'));
    }
};

template <class Markers>
std::size_t markerEnd(std::string_view text, std::size_t at) {
    for (const std::string_view marker : Markers::all)
        if (text.compare(at, marker.size(), marker) == 0) return at + marker.size();
    return std::string_view::npos;
}

/// The places among the eight from `at` on that `mask` has, one byte each, the first in the lowest byte.
template <class Markers>
std::size_t markerEndAmong(std::string_view text, std::size_t at, std::uint64_t mask) {
    while (mask != 0) {
        const auto place = static_cast<std::size_t>(__builtin_ctzll(mask)) / 8;
        if (const std::size_t end = markerEnd<Markers>(text, at + place); end != std::string_view::npos)
            return end;
        mask &= ~(std::uint64_t{0xFF} << (place * 8));
    }
    return std::string_view::npos;
}

/// A marker may start where a quote, one of the first letters and one of the second stand; that is asked of
/// sixteen places at a time, which reads eighteen bytes.
template <class Markers>
std::size_t firstEnd(std::string_view text) {
    std::size_t at = 0;
    for (; at + lanes + 2 <= text.size(); at += lanes) {
        const char* const data = text.data() + at;
        const auto mask = (load(data) == '"') & Markers::letters(load(data + 1), load(data + 2));
        std::uint64_t halves[2];
        std::memcpy(halves, &mask, sizeof halves);
        if ((halves[0] | halves[1]) == 0) [[likely]]
            continue;
        for (const std::size_t half : {0U, 1U}) {
            const std::size_t end = markerEndAmong<Markers>(text, at + half * 8, halves[half]);
            if (end != std::string_view::npos) return end;
        }
    }
    for (; at < text.size(); ++at)
        if (const std::size_t end = markerEnd<Markers>(text, at); end != std::string_view::npos) return end;
    return std::string_view::npos;
}

/// UTF-8 bytes that begin a character.
std::uint64_t characters(std::string_view text) {
    std::uint64_t count = 0;
    for (const char c : text)
        count += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
    return count;
}

std::uint64_t weigh(const simdjson::dom::element& value) {
    std::uint64_t count = 0;
    simdjson::dom::object object;
    simdjson::dom::array array;
    std::string_view text;
    if (value.get(object) == simdjson::SUCCESS) {
        for (const auto field : object)
            count += characters(field.key) + weigh(field.value);
    } else if (value.get(array) == simdjson::SUCCESS) {
        for (const auto item : array)
            count += weigh(item);
    } else if (value.get(text) == simdjson::SUCCESS) {
        count += characters(text);
    }
    return count;
}

class Worker {
public:
    ReferenceCounts counts;

    explicit Worker(Lines use) : use_(use) { buffer_.resize(blockSize + simdjson::SIMDJSON_PADDING); }

    void read(const LogFile& log) {
        agent_ = log.agent;
        const int file = ::open(log.path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0) return;
        filled_ = 0;
        while (const std::size_t count = readBlock(file)) {
            counts.bytes += count;
            filled_ += count;
            const std::size_t done = lines(filled_ - count);
            // An unfinished line goes on with the next block.
            std::memmove(buffer_.data(), buffer_.data() + done, filled_ - done);
            filled_ -= done;
        }
        if (filled_ > 0) line({buffer_.data(), filled_});
        ::close(file);
    }

private:
    std::size_t readBlock(int file) {
        if (buffer_.size() < filled_ + blockSize + simdjson::SIMDJSON_PADDING)
            buffer_.resize(filled_ + blockSize + simdjson::SIMDJSON_PADDING);
        return static_cast<std::size_t>(
            std::max<ssize_t>(::read(file, buffer_.data() + filled_, blockSize), 0));
    }

    /// Handles the whole lines in the buffer, of which the first has no line feed before `from`. Returns
    /// their end.
    std::size_t lines(std::size_t from) {
        const char* const data = buffer_.data();
        std::size_t start = 0;
        while (const void* found = std::memchr(data + from, '\n', filled_ - from)) {
            const auto end = static_cast<std::size_t>(static_cast<const char*>(found) - data);
            line({data + start, end - start});
            from = start = end + 1;
        }
        return start;
    }

    void line(std::string_view text) {
        ++counts.lines;
        if (firstMarkerEnd(text, agent_) == std::string_view::npos) return;
        ++counts.parsed;
        simdjson::dom::element value;
        std::string_view type;
        if (parser_.parse(text.data(), text.size(), false).get(value) != simdjson::SUCCESS)
            ++counts.refused;
        else if (value["type"].get(type) == simdjson::SUCCESS)
            counts.types += type.size();
        if (use_ == Lines::weighed) counts.weighed += weigh(value);
    }

    Lines use_;
    Agent agent_ = Agent::codex;
    simdjson::dom::parser parser_;
    std::vector<char> buffer_;
    std::size_t filled_ = 0;
};

}  // namespace

std::size_t firstMarkerEnd(std::string_view text, Agent agent) {
    return agent == Agent::codex ? firstEnd<CodexMarkers>(text) : firstEnd<ClaudeMarkers>(text);
}

ReferenceCounts& ReferenceCounts::operator+=(const ReferenceCounts& other) {
    bytes += other.bytes;
    lines += other.lines;
    parsed += other.parsed;
    refused += other.refused;
    types += other.types;
    weighed += other.weighed;
    return *this;
}

ReferenceCounts runReference(const std::vector<LogFile>& files, unsigned threads, Lines lines) {
    // The largest first, so that no thread is left alone with one at the end.
    std::vector<std::pair<std::uintmax_t, std::size_t>> order;
    for (std::size_t i = 0; i < files.size(); ++i)
        order.emplace_back(std::filesystem::file_size(files[i].path), i);
    std::sort(order.rbegin(), order.rend());
    std::atomic<std::size_t> next = 0;
    std::vector<Worker> workers;
    for (unsigned i = 0; i < std::max(threads, 1U); ++i)
        workers.emplace_back(lines);
    const auto work = [&](Worker& worker) {
        for (std::size_t i = next++; i < order.size(); i = next++)
            worker.read(files[order[i].second]);
    };
    std::vector<std::thread> running;
    for (std::size_t i = 1; i < workers.size(); ++i)
        running.emplace_back(work, std::ref(workers[i]));
    work(workers[0]);
    ReferenceCounts counts = workers[0].counts;
    for (std::size_t i = 1; i < workers.size(); ++i) {
        running[i - 1].join();
        counts += workers[i].counts;
    }
    return counts;
}

}  // namespace ledgerfern::bench
