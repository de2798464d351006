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

constexpr std::uint64_t everyByte = 0x0101010101010101;
constexpr std::uint64_t highBits = everyByte * 0x80;

// What the bytes of a block, or a single byte, add beyond 1 each: a block in the negative. And whether the
// eight bytes of a word add just themselves.

struct Plain {
    static SignedBytes less(Bytes bytes) {
        // The first byte of a character that takes two code units.
        return isWithin(bytes, 0xF0, 0xFF) - continuesCharacter(bytes);
    }

    static bool isPlain(std::uint64_t bytes) { return (bytes & highBits) == 0; }

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

    static bool isPlain(std::uint64_t bytes) {
        // What comes to have its high bit: a control character by a borrow, the others by being none.
        const std::uint64_t control = bytes - everyByte * 0x20;
        const std::uint64_t quote = (bytes ^ everyByte * '"') - everyByte;
        const std::uint64_t backslash = (bytes ^ everyByte * '\\') - everyByte;
        return ((bytes | control | quote | backslash) & highBits) == 0;
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

template <class Word>
Word wordAt(const char* data) {
    Word word = 0;
    std::memcpy(&word, data, sizeof word);
    return word;
}

/// Whether each of the last bytes of a text shorter than a block adds just itself.
template <class Sort>
bool isPlain(std::string_view text) {
    const char* const end = text.data() + text.size();
    // Two words that overlap are as good as loops over what they have in common.
    if (text.size() >= 8)
        return Sort::isPlain(wordAt<std::uint64_t>(text.data())) &&
               Sort::isPlain(wordAt<std::uint64_t>(end - 8));
    if (text.size() >= 4)
        return Sort::isPlain(std::uint64_t{wordAt<std::uint32_t>(text.data())} << 32 |
                             wordAt<std::uint32_t>(end - 4));
    return false;
}

/// Most texts are keys and names, shorter than a block, and of plain letters; and what is left of a long one
/// is short too.
template <class Sort>
std::int64_t weighShort(std::string_view text) {
    auto size = static_cast<std::int64_t>(text.size());
    if (isPlain<Sort>(text)) return size;
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
