// Megabytes go through here when sessions are stored and restored, so both directions work on tables: writing
// looks up two characters for each twelve bits; reading looks up each character already shifted to its place
// in the group of four, so that a group is put together by "or". A character that isn't one sets a bit that
// no group has, and is only asked for at the end.

#include "Foundation/Base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ledgerfern {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t pairCount = std::size_t{1} << 12;
constexpr std::uint32_t bad = std::uint32_t{1} << 31;

using Pairs = std::array<std::array<char, 2>, pairCount>;
using Values = std::array<std::array<std::uint32_t, 256>, 4>;  // by place in the group

constexpr Pairs makePairs() {
    Pairs pairs{};
    for (std::size_t bits = 0; bits < pairCount; ++bits)
        pairs[bits] = {alphabet[bits >> 6], alphabet[bits & 63]};
    return pairs;
}

constexpr Values makeValues() {
    Values values{};
    for (std::size_t place = 0; place < values.size(); ++place) {
        values[place].fill(bad);
        for (std::size_t i = 0; i < alphabet.size(); ++i)
            values[place][static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint32_t>(i)
                                                                     << (18 - 6 * place);
    }
    return values;
}

constexpr Pairs pairs = makePairs();
constexpr Values values = makeValues();

std::uint32_t byteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

void writeGroup(char* out, std::uint32_t bits) {
    out[0] = pairs[bits >> 12][0];
    out[1] = pairs[bits >> 12][1];
    out[2] = pairs[bits & 0xFFF][0];
    out[3] = pairs[bits & 0xFFF][1];
}

std::uint32_t readGroup(const char* text) {
    const auto value = [text](std::size_t place) {
        return values[place][static_cast<unsigned char>(text[place])];
    };
    return value(0) | value(1) | value(2) | value(3);
}

void writeBytes(char* out, std::uint32_t bits, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<char>(static_cast<unsigned char>(bits >> (16 - 8 * i)));
}

std::size_t paddingOf(std::string_view text) {
    if (text.ends_with("==")) return 2;
    return text.ends_with('=') ? 1 : 0;
}

}  // namespace

void appendBase64(std::string& out, std::string_view bytes) {
    std::size_t at = out.size();
    out.resize(at + (bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3, at += 4)
        writeGroup(out.data() + at,
                   byteAt(bytes, i) << 16 | byteAt(bytes, i + 1) << 8 | byteAt(bytes, i + 2));
    const std::size_t rest = bytes.size() - i;
    if (rest == 0) return;
    const std::uint32_t second = rest == 2 ? byteAt(bytes, i + 1) << 8 : 0;
    writeGroup(out.data() + at, byteAt(bytes, i) << 16 | second);
    out.replace(at + 1 + rest, 3 - rest, 3 - rest, '=');
}

bool readBase64(std::string_view text, std::string& bytes) {
    bytes.clear();
    if (text.empty()) return true;
    if (text.size() % 4 != 0) return false;
    const std::size_t padding = paddingOf(text);
    const std::size_t lastGroup = text.size() / 4 - 1;
    bytes.resize(lastGroup * 3 + (3 - padding));
    std::uint32_t seen = 0;
    for (std::size_t group = 0; group < lastGroup; ++group) {
        const std::uint32_t bits = readGroup(text.data() + group * 4);
        seen |= bits;
        writeBytes(bytes.data() + group * 3, bits, 3);
    }
    std::array<char, 4> last{'A', 'A', 'A', 'A'};
    text.copy(last.data(), 4 - padding, lastGroup * 4);
    const std::uint32_t bits = readGroup(last.data());
    writeBytes(bytes.data() + lastGroup * 3, bits, 3 - padding);
    const std::uint32_t unusedBits = (std::uint32_t{1} << (8 * padding)) - 1;
    const bool isValid = ((seen | bits) & bad) == 0 && (bits & unusedBits) == 0;
    if (!isValid) bytes.clear();
    return isValid;
}

}  // namespace ledgerfern
