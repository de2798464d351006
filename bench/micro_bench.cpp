// The pieces of the hot path one by one, each beside what it can't be faster than.

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "CodexSession.h"
#include "Foundation/JsonReader.h"
#include "Parsing/JsonSize.h"
#include "Parsing/LineScanner.h"
#include "Parsing/MarkerSearch.h"
#include "Parsing/StringSize.h"
#include "Random.h"
#include "Reference.h"
#include "TextPool.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern::bench {
namespace {

constexpr std::size_t blockSize = std::size_t{4} << 20;

/// A block of a session's log, with room behind it for a JSON reader to look into.
struct Block {
    std::string storage;
    std::size_t size = 0;

    std::string_view text() const { return {storage.data(), size}; }
};

const SessionTexts& texts() {
    static const SessionTexts made{Random(1)};
    return made;
}

const Block& block() {
    static const Block made = [] {
        Block log;
        CodexSession session(texts(), Random(2), 1'772'000'000'000);
        session.begin(log.storage);
        while (log.storage.size() < blockSize)
            session.turn(log.storage, blockSize);
        log.size = log.storage.rfind('\n') + 1;
        log.storage.resize(log.size + JsonReader::padding);
        return log;
    }();
    return made;
}

const std::vector<std::string_view>& lines() {
    static const std::vector<std::string_view> made = [] {
        std::vector<std::string_view> found;
        std::string_view rest = block().text();
        for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(end + 1))
            found.push_back(rest.substr(0, end));
        return found;
    }();
    return made;
}

void countBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

constexpr std::array<std::string_view, 8> markers = {
    "\"session_meta\"", "\"response_item\"",           "\"token_count\"", "\"context_compacted\"",
    "\"compacted\"",    "\"thread_settings_applied\"", "\"rate_limits\"", "\"event_msg\"",
};

void memchrOverLines(benchmark::State& state) {
    for (auto _ : state) {
        std::size_t count = 0;
        const char* place = block().text().data();
        const char* const end = place + block().size;
        while (const void* found = std::memchr(place, '\n', static_cast<std::size_t>(end - place))) {
            place = static_cast<const char*>(found) + 1;
            ++count;
        }
        benchmark::DoNotOptimize(count);
    }
    countBytes(state, block().size);
}
BENCHMARK(memchrOverLines);

void memchrForAbsentByte(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(std::memchr(block().text().data(), '\x01', block().size));
    countBytes(state, block().size);
}
BENCHMARK(memchrForAbsentByte);

void lineScanner(benchmark::State& state) {
    std::string pending;
    for (auto _ : state) {
        std::size_t count = 0;
        LineScanner::scan(block().text(), pending, [&](std::string_view line) { count += line.size(); });
        benchmark::DoNotOptimize(count);
    }
    countBytes(state, block().size);
}
BENCHMARK(lineScanner);

void preFilterOverLines(benchmark::State& state) {
    for (auto _ : state) {
        std::size_t passed = 0;
        for (const std::string_view line : lines())
            passed += MarkerSearch<markers>::first(line).position != std::string_view::npos ? 1U : 0U;
        benchmark::DoNotOptimize(passed);
    }
    countBytes(state, block().size);
}
BENCHMARK(preFilterOverLines);

/// Text as a tool prints it, inside a JSON string: full of quotes, and without a marker.
std::string unmarkedText() {
    Random random(3);
    return std::string(texts().code.take(random, 200'000));
}

void preFilterWithoutMarker(benchmark::State& state) {
    const std::string text = unmarkedText();
    for (auto _ : state)
        benchmark::DoNotOptimize(MarkerSearch<markers>::first(text).position);
    countBytes(state, text.size());
}
BENCHMARK(preFilterWithoutMarker);

void referenceFilterWithoutMarker(benchmark::State& state) {
    const std::string text = unmarkedText();
    for (auto _ : state)
        benchmark::DoNotOptimize(firstMarkerEnd(text, Agent::codex));
    countBytes(state, text.size());
}
BENCHMARK(referenceFilterWithoutMarker);

void containsWithoutMarker(benchmark::State& state) {
    const std::string text = unmarkedText();
    for (auto _ : state)
        benchmark::DoNotOptimize(LineScanner::contains(text, markers[7]));
    countBytes(state, text.size());
}
BENCHMARK(containsWithoutMarker);

void readJsonLines(benchmark::State& state) {
    JsonReader reader;
    for (auto _ : state)
        for (const std::string_view line : lines())
            benchmark::DoNotOptimize(reader.readPadded(line));
    countBytes(state, block().size);
}
BENCHMARK(readJsonLines);

void readJsonLineToBeMended(benchmark::State& state) {
    JsonReader reader;
    const std::string text = R"({"output":")" + unmarkedText() + R"(\ud83d"})";
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.read(text));
    countBytes(state, text.size());
}
BENCHMARK(readJsonLineToBeMended);

void jsonLenOfLines(benchmark::State& state) {
    JsonReader reader;
    std::string all = "[";
    for (const std::string_view line : lines())
        all.append(line) += ',';
    all.back() = ']';
    const JsonValue values = reader.read(all).value();
    for (auto _ : state)
        benchmark::DoNotOptimize(jsonLen(values));
    countBytes(state, block().size);
}
BENCHMARK(jsonLenOfLines);

void escapedSizeOfText(benchmark::State& state) {
    const std::string text = unmarkedText();
    for (auto _ : state)
        benchmark::DoNotOptimize(escapedUtf16Size(text));
    countBytes(state, text.size());
}
BENCHMARK(escapedSizeOfText);

void sizeOfText(benchmark::State& state) {
    const std::string text = unmarkedText();
    for (auto _ : state)
        benchmark::DoNotOptimize(utf16Size(text));
    countBytes(state, text.size());
}
BENCHMARK(sizeOfText);

void parseTimestamp(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(TSDate::parse(std::string_view("2026-03-01T10:20:30.123Z")));
}
BENCHMARK(parseTimestamp);

}  // namespace
}  // namespace ledgerfern::bench
