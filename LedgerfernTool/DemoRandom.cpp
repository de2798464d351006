#include "DemoRandom.h"

namespace ledgerfern {

namespace {

/// The finishing step of splitmix64: every bit of the result depends on every bit of the value.
std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
}

constexpr std::uint64_t stride = 0x9e3779b97f4a7c15;

}  // namespace

DemoRandom::DemoRandom(std::uint64_t seed, std::uint64_t stream)
    : state_(mixed(mixed(seed + stride) ^ (stream * stride))) {}

std::uint64_t DemoRandom::next() {
    state_ += stride;
    return mixed(state_);
}

std::int64_t DemoRandom::between(std::int64_t low, std::int64_t high) {
    if (high <= low) return low;
    const auto count = static_cast<std::uint64_t>(high - low) + 1;
    return low + static_cast<std::int64_t>(next() % count);
}

std::string DemoRandom::pickedFrom(const char* letters, std::int64_t count, std::size_t length) {
    std::string text;
    while (text.size() < length)
        text += letters[between(0, count - 1)];
    return text;
}

std::string DemoRandom::hex(std::size_t digits) {
    return pickedFrom("0123456789abcdef", 16, digits);
}

std::string DemoRandom::word(std::size_t length) {
    return pickedFrom("0123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz", 59, length);
}

std::string DemoRandom::filled(std::string pattern) {
    for (char& letter : pattern)
        if (letter == 'x') letter = hex(1).front();
    return pattern;
}

std::string DemoRandom::uuid() {
    return filled("xxxxxxxx-xxxx-4xxx-axxx-xxxxxxxxxxxx");
}

std::string DemoRandom::uuidOf(std::int64_t milliseconds) {
    std::string time(12, '0');
    for (std::size_t i = time.size(); i-- > 0; milliseconds /= 16)
        time[i] = "0123456789abcdef"[milliseconds % 16];
    return time.substr(0, 8) + "-" + time.substr(8) + filled("-7xxx-axxx-xxxxxxxxxxxx");
}

}  // namespace ledgerfern
