// Tool outputs are strings of up to megabytes, and each is measured once. What a byte adds to a size depends
// on the byte alone: 1, and so many more or less. So sixteen bytes are weighed side by side, in lanes of
// eight bits that are added up before they can overflow. GCC's and clang's vector types make that good code
// on every processor.

#include "Parsing/StringSize.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace ledgerfern {

namespace {

constexpr std::size_t lanes = 16;
using Bytes = std::uint8_t __attribute__((vector_size(lanes)));
using SignedBytes = std::int8_t __attribute__((vector_size(lanes)));

// A block of bytes is compared with signs: the processors that matter have no other comparison. A mask holds
// −1 where a byte is of the sort asked for, and 0 elsewhere.

/// The bytes with their order kept when they are read as signed ones.
SignedBytes ordered(Bytes bytes) {
    return reinterpret_cast<SignedBytes>(bytes ^ 0x80);
}

constexpr std::int8_t ordered(int byte) {
    return static_cast<std::int8_t>(byte - 0x80);
}

/// 0x80 to 0xBF, which go on with a character.
SignedBytes continuesCharacter(Bytes bytes) {
    return reinterpret_cast<SignedBytes>(bytes) < static_cast<std::int8_t>(0xC0 - 0x100);
}

/// The first byte of a character that takes two code units.
SignedBytes startsPair(Bytes bytes) {
    return ordered(bytes) > ordered(0xEF);
}

SignedBytes isControl(Bytes bytes) {
    return ordered(bytes) < ordered(0x20);
}

/// The control characters with a short escape: \b \t \n \f \r.
SignedBytes hasShortEscape(Bytes bytes) {
    const SignedBytes fromBackspaceToReturn = ordered(bytes - '\b') < ordered('\r' - '\b' + 1);
    return fromBackspaceToReturn ^ (bytes == '\v');
}

/// What a block's bytes add beyond 1 each, in the negative: once, and four times.
struct Surplus {
    SignedBytes once;
    SignedBytes fourfold;
};

Surplus plainSurplus(Bytes bytes) {
    return {startsPair(bytes) - continuesCharacter(bytes), SignedBytes{}};
}

Surplus escapedSurplus(Bytes bytes) {
    const SignedBytes control = isControl(bytes);
    const SignedBytes two = startsPair(bytes) | (bytes == '"') | (bytes == '\\') | control;
    return {two - continuesCharacter(bytes), control ^ hasShortEscape(bytes)};
}

std::int64_t sumOfLanes(SignedBytes bytes) {
    // Counted from −128, so that the eight of a half add up without signs.
    const SignedBytes fromLowest = bytes ^ std::int8_t{-128};
    std::uint64_t halves[2];
    std::memcpy(halves, &fromLowest, sizeof fromLowest);
    std::uint64_t sum = 0;
    for (const std::uint64_t half : halves) {
        constexpr std::uint64_t evenBytes = 0x00FF00FF00FF00FF;
        const std::uint64_t pairs = (half & evenBytes) + ((half >> 8) & evenBytes);
        sum += (pairs * 0x0001000100010001) >> 48;
    }
    return static_cast<std::int64_t>(sum) - 128 * static_cast<std::int64_t>(lanes);
}

Bytes load(const char* data) {
    Bytes bytes;
    std::memcpy(&bytes, data, lanes);
    return bytes;
}

template <Surplus (*surplus)(Bytes)>
std::int64_t weigh(std::string_view text) {
    constexpr std::size_t blocksPerSum = 127;
    std::int64_t added = 0;
    const char* data = text.data();
    std::size_t blocks = text.size() / lanes;
    while (blocks > 0) {
        SignedBytes once{};
        SignedBytes fourfold{};
        const std::size_t count = std::min(blocks, blocksPerSum);
        for (std::size_t i = 0; i < count; ++i, data += lanes) {
            const Surplus more = surplus(load(data));
            once += more.once;
            fourfold += more.fourfold;
        }
        added -= sumOfLanes(once) + 4 * sumOfLanes(fourfold);
        blocks -= count;
    }
    if (const std::size_t rest = text.size() % lanes) {
        // Filled up with a byte that adds nothing.
        char last[lanes];
        std::memset(last, 'x', lanes);
        std::memcpy(last, data, rest);
        const Surplus more = surplus(load(last));
        added -= sumOfLanes(more.once) + 4 * sumOfLanes(more.fourfold);
    }
    return static_cast<std::int64_t>(text.size()) + added;
}

}  // namespace

std::int64_t utf16Size(std::string_view text) {
    return weigh<plainSurplus>(text);
}

std::int64_t escapedUtf16Size(std::string_view text) {
    return weigh<escapedSurplus>(text);
}

}  // namespace ledgerfern
