#include "TextPool.h"

#include <algorithm>
#include <array>

namespace ledgerfern::bench {

namespace {

constexpr std::size_t poolSize = std::size_t{2} << 20;
constexpr std::string_view lowerCase = "abcdefghijklmnopqrstuvwxyz";

template <std::size_t n>
std::string_view oneOf(Random& random, const std::array<std::string_view, n>& choices) {
    return choices[random.below(n)];
}

std::string word(Random& random) {
    return random.text(lowerCase, 2 + random.below(9));
}

std::string codeLine(Random& random) {
    static constexpr std::array<std::string_view, 14> shapes = {
        "@ = @(@, @);",
        "if (@.@ == \\\"@\\\") {",
        "return @[\\\"@\\\"] ?? @;",
        "}",
        "// @ @ @ @ @",
        "std::string @ = \\\"@\\\\n\\\";",
        "\\\"@\\\": {\\\"@\\\": \\\"@\\\"},",
        "src/@/@.cpp:118:\\t@ @ -> @",
        "const @ = await @.@(`@/${@}`);",
        "def @(self, @: str, @=None) -> @:",
        "  → @ ✓ @ (é, ü)",
        "\\u001b[32m@\\u001b[0m @::@ ... ok",
        "-rw-r--r--  1 @ @  4096 @_@.rs",
        "@: @ @ @ @ @ @ @ @ @",
    };
    std::string line(random.below(5) * 4, ' ');
    for (const char c : oneOf(random, shapes)) {
        if (c == '@')
            line += word(random);
        else
            line += c;
    }
    return line + "\\n";
}

std::string sentence(Random& random) {
    std::string text;
    for (std::size_t words = 4 + random.below(14); words > 0; --words)
        text += word(random) + (words > 1 ? " " : "");
    static constexpr std::array<std::string_view, 6> ends = {". ",      ". ",     ", ",
                                                             ".\\n\\n", ".\\n- ", " — “ok”. "};
    return text.append(oneOf(random, ends));
}

}  // namespace

TextPool TextPool::code(Random random) {
    TextPool pool;
    while (pool.text_.size() < poolSize)
        pool.add(codeLine(random));
    return pool;
}

TextPool TextPool::prose(Random random) {
    TextPool pool;
    while (pool.text_.size() < poolSize)
        pool.add(sentence(random));
    return pool;
}

TextPool TextPool::base64(Random random) {
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    TextPool pool;
    while (pool.text_.size() < poolSize)
        pool.add(random.text(alphabet, 64));
    return pool;
}

void TextPool::add(std::string_view piece) {
    starts_.push_back(text_.size());
    text_ += piece;
}

std::string_view TextPool::take(Random& random, std::size_t length) const {
    const std::size_t wanted = std::min(length, text_.size() / 2);
    const std::size_t first = starts_[random.below(starts_.size() / 2)];
    const auto end =
        std::lower_bound(starts_.begin(), starts_.end(), first + std::max<std::size_t>(wanted, 1));
    return std::string_view(text_).substr(first, (end == starts_.end() ? text_.size() : *end) - first);
}

}  // namespace ledgerfern::bench
