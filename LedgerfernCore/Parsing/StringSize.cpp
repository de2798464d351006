// Tool outputs are strings of up to megabytes, and each is measured once. What a byte adds to a size depends
// on the byte alone: 1, and so many more or less. So sixteen bytes are weighed side by side, in lanes of
// eight bits that are added up before they can overflow. GCC's and clang's vector types make that good code
// on every processor.

#include "Parsing/StringSize.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace ledgerfern {

namespace {

constexpr std::size_t lanes = 16;
using Bytes = std::uint8_t __attribute__((vector_size(lanes)));
using SignedBytes = std::int8_t __attribute__((vector_size(lanes)));

// A mask holds −1 where a byte is of the sort asked for, and 0 elsewhere.

/// The bytes from `first` to `last`, which may go on behind 0xFF with 0; at most 128 of the 256. The
/// processors that matter compare bytes with signs only, so `first` is moved to the lowest of those.
SignedBytes isWithin(Bytes bytes, int first, int last) {
    const auto moved = reinterpret_cast<SignedBytes>(bytes - static_cast<std::uint8_t>(first + 0x80));
    return moved < static_cast<std::int8_t>(((last - first) & 0xFF) + 1 - 0x80);
}

/// 0x80 to 0xBF, which go on with a character.
SignedBytes continuesCharacter(Bytes bytes) {
    return isWithin(bytes, 0x80, 0xBF);
}

/// The control characters without a short escape, which \b \t \n \f \r have.
SignedBytes takesSix(Bytes bytes) {
    return isWithin(bytes, 0, 0x1F) ^ isWithin(bytes, '\b', '\r') ^ (bytes == '\v');
}

// What the bytes of a block, or a single byte, add beyond 1 each: a block in the negative.

struct Plain {
    static SignedBytes less(Bytes bytes) {
        // The first byte of a character that takes two code units.
        return isWithin(bytes, 0xF0, 0xFF) - continuesCharacter(bytes);
    }

    static constexpr int more(int byte) {
        if (byte >= 0xF0) return 1;
        return byte >= 0x80 && byte < 0xC0 ? -1 : 0;
    }
};

struct Escaped {
    static SignedBytes less(Bytes bytes) {
        const SignedBytes two = isWithin(bytes, 0xF0, 0x1F) | (bytes == '"') | (bytes == '\\');
        return two - continuesCharacter(bytes) + (takesSix(bytes) & std::int8_t{-4});
    }

    static constexpr int more(int byte) {
        if (byte == '"' || byte == '\\') return 1;
        if (byte >= 0x20) return Plain::more(byte);
        return byte >= '\b' && byte <= '\r' && byte != '\v' ? 1 : 5;
    }
};

template <class Sort>
constexpr auto moreOfEachByte = [] {
    std::array<std::int8_t, 256> more{};
    for (int byte = 0; byte < 256; ++byte)
        more[static_cast<std::size_t>(byte)] = static_cast<std::int8_t>(Sort::more(byte));
    return more;
}();

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

/// Most texts are keys and names, shorter than a block; and what is left of a long one is one too.
template <class Sort>
std::int64_t weighShort(std::string_view text) {
    auto size = static_cast<std::int64_t>(text.size());
    for (const char c : text)
        size += moreOfEachByte<Sort>[static_cast<unsigned char>(c)];
    return size;
}

template <class Sort>
std::int64_t weigh(std::string_view text) {
    constexpr std::size_t blocksPerSum = 127 / 5;
    std::int64_t size = 0;
    while (text.size() >= lanes) {
        const std::size_t blocks = std::min(text.size() / lanes, blocksPerSum);
        SignedBytes less{};
        for (std::size_t i = 0; i < blocks; ++i)
            less += Sort::less(load(text.data() + i * lanes));
        size += static_cast<std::int64_t>(blocks * lanes) - sumOfLanes(less);
        text.remove_prefix(blocks * lanes);
    }
    return size + weighShort<Sort>(text);
}

}  // namespace

std::int64_t utf16Size(std::string_view text) {
    return weigh<Plain>(text);
}

std::int64_t escapedUtf16Size(std::string_view text) {
    return weigh<Escaped>(text);
}

}  // namespace ledgerfern
