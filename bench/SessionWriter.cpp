#include "SessionWriter.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace ledgerfern::bench {

SessionWriter::SessionWriter(const SessionTexts& texts, Random random, std::int64_t start)
    : allTexts(texts), dice(random), presentTime(start), sessionId(uuid()) {
    static constexpr std::array<std::string_view, 5> projects = {"harbour", "lantern", "meadow", "quarry",
                                                                 "tern"};
    workFolder = "/home/someone/work/" + std::string(projects[dice.below(projects.size())]);
}

void SessionWriter::begin(std::string& out) {
    out_ = &out;
    writeBeginning();
}

void SessionWriter::turn(std::string& out, std::size_t limit) {
    out_ = &out;
    writeTurn(limit);
}

void SessionWriter::member(std::string_view key, std::string_view value) {
    *out_ += '"';
    *out_ += key;
    *out_ += R"(":")";
    *out_ += value;
    *out_ += R"(",)";
}

void SessionWriter::text(std::string_view key, const TextPool& pool, double median, double sigma) {
    const double length = std::min(dice.logNormal(median * allTexts.scale, sigma), longestText);
    member(key, pool.take(dice, static_cast<std::size_t>(length)));
}

void SessionWriter::count(std::string_view key, std::uint64_t value) {
    *out_ += '"';
    *out_ += key;
    *out_ += R"(":)";
    *out_ += std::to_string(value);
    *out_ += ',';
}

void SessionWriter::endObject() {
    out_->back() = '}';
}

std::string SessionWriter::timestamp() const {
    using namespace std::chrono;
    const sys_time<milliseconds> instant{milliseconds(presentTime)};
    const auto day = floor<days>(instant);
    const year_month_day date(day);
    const hh_mm_ss time(instant - day);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(date.year()),
                  unsigned(date.month()), unsigned(date.day()), int(time.hours().count()),
                  int(time.minutes().count()), int(time.seconds().count()), int(time.subseconds().count()));
    return text;
}

std::string SessionWriter::letters(std::size_t count) {
    return dice.text("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", count);
}

std::string SessionWriter::uuid() {
    std::string text = hexadecimal(36);
    for (const std::size_t place : {8U, 13U, 18U, 23U})
        text[place] = '-';
    return text;
}

}  // namespace ledgerfern::bench
