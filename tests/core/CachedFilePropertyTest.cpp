#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "core/CachedSamples.h"

namespace ledgerfern {
namespace {

std::string randomText() {
    static const std::vector<std::string> pieces = {
        "a", "Zz 09", "\"",   "\\", "/", "\n", std::string(1, '\0'),
        "é", "😀",    "\x7F", "·",  "{", "]",  "\u2028"};
    std::string text;
    for (int count = *rc::gen::inRange(0, 6); count > 0; --count)
        text += *rc::gen::elementOf(pieces);
    return text;
}

/// Beyond 2^53 a double has no longer a place for every integer.
std::int64_t randomCounter() {
    const std::int64_t limit =
        *rc::gen::elementOf(std::vector<std::int64_t>{10, 1'000'000, std::int64_t{1} << 62});
    return *rc::gen::inRange<std::int64_t>(-limit, limit + 1);
}

std::int64_t randomInteger() {
    return *rc::gen::resize(1000, rc::gen::arbitrary<std::int64_t>());
}

double randomNumber() {
    const double number = static_cast<double>(*rc::gen::inRange<std::int64_t>(-1'000'000'000, 3'000'000'000));
    return number / *rc::gen::elementOf(std::vector<double>{1, 3, 1000, 1e-6, 1e9});
}

template <class Make>
auto maybe(Make make) -> std::optional<decltype(make())> {
    if (*rc::gen::arbitrary<bool>()) return std::nullopt;
    return make();
}

RequestRecord randomRequest(StringIndex& names) {
    RequestRecord record;
    if (*rc::gen::inRange(0, 5) > 0) record.time = randomNumber();
    for (std::size_t i = 0; i < UsageTotals::fields.size(); ++i)
        record.d.at(i) = randomCounter();
    if (const auto label = maybe(randomText)) record.dominant = names.intern(*label);
    if (const auto model = maybe(randomText)) record.model = names.intern(*model);
    return record;
}

void fillTables(SessionResult& result) {
    StringIndex names;
    SharedArray<RequestRecord> records;
    for (int count = *rc::gen::inRange(0, 12); count > 0; --count)
        records.push_back(randomRequest(names));
    result.requests = {records, names.pool()};
    std::vector<std::pair<std::string, ToolStat>> tools;
    for (int count = *rc::gen::inRange(0, 6); count > 0; --count)
        tools.push_back({randomText(), {randomInteger(), randomInteger(), randomInteger()}});
    result.tools = ToolTable(tools);
    for (int count = *rc::gen::inRange(0, 4); count > 0; --count)
        result.rlDaily[randomText()] = {randomNumber(), randomNumber(), maybe(randomCounter)};
    for (int count = *rc::gen::inRange(0, 4); count > 0; --count)
        result.insights.breakReasons[randomText()] = randomInteger();
}

SessionResult randomSession() {
    SessionResult result;
    result.path = "/" + randomText();
    result.tool = *rc::gen::elementOf(std::vector<ToolKind>{ToolKind::codex, ToolKind::claudeCode});
    result.project = randomText();
    result.cwd = randomText();
    result.originator = randomText();
    result.source = {randomText(), *rc::gen::arbitrary<bool>(), maybe(randomText), maybe(randomText),
                     *rc::gen::arbitrary<bool>()};
    result.model = maybe(randomText);
    result.firstMessage = maybe(randomText);
    result.started = maybe(randomNumber);
    result.lastTs = maybe(randomNumber);
    result.rateLimit = maybe([] {
        return RateLimitInfo{maybe(randomNumber), maybe(randomInteger), maybe(randomInteger),
                             maybe(randomText)};
    });
    fillTables(result);
    for (std::size_t i = 0; i < UsageTotals::fields.size(); ++i)
        result.totals.at(i) = randomInteger();
    result.insights.cacheBreaks = randomInteger();
    result.insights.rebuiltTokens = randomInteger();
    result.insights.startupInput = maybe(randomInteger);
    result.insights.peakInput = randomInteger();
    return result;
}

std::int64_t asDouble(std::int64_t number) {
    return static_cast<std::int64_t>(static_cast<double>(number));
}

/// The session as it is to come back.
SessionResult withoutWhatIsLost(SessionResult result, Instant now) {
    StringIndex names;
    std::vector<RequestRecord> records(result.requests.records().begin(), result.requests.records().end());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto request = result.requests[i];
        records[i].time = request.ts.value_or(now);
        records[i].dominant = StringPool::none;
        if (request.model) records[i].model = names.intern(*request.model);
        for (std::size_t k = 0; k < UsageTotals::fields.size(); ++k)
            records[i].d.at(k) = asDouble(request.d.at(k));
    }
    for (auto& [day, reading] : result.rlDaily)
        if (reading.resetsAt) reading.resetsAt = asDouble(*reading.resetsAt);
    SharedArray<RequestRecord> array;
    array.append(records.data(), records.size());
    result.requests = {array, names.pool()};
    return result;
}

TEST(CachedFileProperty, everySessionComesBackButForWhatIsDropped) {
    EXPECT_TRUE(rc::check("any session", [] {
        const SessionResult result = randomSession();
        const double now = randomNumber();
        const auto sessionId = maybe(randomText);
        const bool wasUsable = *rc::gen::arbitrary<bool>();
        const CachedFile file = CachedFile::of(result, sessionId, wasUsable, now);
        const auto encoded = encode(file);
        RC_ASSERT(encoded.has_value());
        const auto decoded = decodedText(encoded->json);
        RC_ASSERT(decoded.has_value());
        RC_ASSERT(*decoded->session == withoutWhatIsLost(result, now));
        RC_ASSERT(*decoded->session == *file.session);
        RC_ASSERT(decoded->sessionId == sessionId);
        RC_ASSERT(decoded->wasUsable == wasUsable);
        RC_ASSERT(decoded->v == CachedFile::version);
        RC_ASSERT(encode(*decoded)->json == encoded->json);
    }));
}

}  // namespace
}  // namespace ledgerfern
