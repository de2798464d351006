#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace ledgerfern {

/// Random JSON texts of all shapes, and random damage to them.
class RandomJson {
public:
    explicit RandomJson(std::uint64_t seed) : random_(seed) {}

    std::string document() {
        text_.clear();
        value(0);
        return text_;
    }

    std::string damaged(std::string text) {
        for (std::size_t times = 1 + below(3); times > 0; --times)
            damage(text);
        return text;
    }

    std::size_t below(std::size_t limit) { return random_() % limit; }

private:
    template <std::size_t n>
    std::string_view oneOf(const std::string_view (&choices)[n]) {
        return choices[below(n)];
    }

    void blank() {
        static constexpr std::string_view blanks[] = {"", "", "", " ", "\t", "\r\n", "  "};
        text_ += oneOf(blanks);
    }

    void value(int depth) {
        blank();
        switch (below(depth < 6 ? 7 : 5)) {
            case 0: {
                static constexpr std::string_view names[] = {"null", "true", "false"};
                text_ += oneOf(names);
                break;
            }
            case 1:
            case 2:
                number();
                break;
            case 3:
            case 4:
                string();
                break;
            default:
                items(depth, below(2) == 0);
        }
        blank();
    }

    void items(int depth, bool object) {
        text_ += object ? '{' : '[';
        const std::size_t count = below(6);
        if (count == 0) blank();
        for (std::size_t i = 0; i < count; ++i) {
            if (i > 0) text_ += ',';
            if (object) key();
            value(depth + 1);
        }
        text_ += object ? '}' : ']';
    }

    void key() {
        blank();
        static constexpr std::string_view keys[] = {R"("a")", R"("\u0061")", R"("b")",
                                                    R"("")",  R"("\ud800")", R"("�")"};
        if (below(3) == 0)
            string();
        else
            text_ += oneOf(keys);
        blank();
        text_ += ':';
    }

    void string() {
        static constexpr std::string_view pieces[] = {"a",
                                                      "Zz 09",
                                                      "/",
                                                      "{[,:]}",
                                                      "1e400",
                                                      "\\\"",
                                                      "\\\\",
                                                      "\\/",
                                                      "\\b",
                                                      "\\f",
                                                      "\\n",
                                                      "\\r",
                                                      "\\t",
                                                      "\\u0000",
                                                      "\\u001F",
                                                      "\\u00e9",
                                                      "\\uFFFF",
                                                      "\\ud83d\\ude00",
                                                      "\\ud83d",
                                                      "\\uDE00",
                                                      "\\uDBFF",
                                                      "\\uDFFF",
                                                      "\x7F",
                                                      "é",
                                                      "€",
                                                      "😀",
                                                      "\xEF\xBF\xBF",
                                                      "\xF4\x8F\xBF\xBF"};
        text_ += '"';
        for (std::size_t count = below(9); count > 0; --count)
            text_ += oneOf(pieces);
        text_ += '"';
    }

    void digits(std::size_t count) {
        for (; count > 0; --count)
            text_ += static_cast<char>('0' + below(10));
    }

    void number() {
        static constexpr std::string_view borders[] = {"0",
                                                       "-0",
                                                       "9223372036854775807",
                                                       "9223372036854775808",
                                                       "-9223372036854775808",
                                                       "-9223372036854775809",
                                                       "18446744073709551615",
                                                       "18446744073709551616",
                                                       "1.7976931348623157e308",
                                                       "1.7976931348623159e308",
                                                       "-1.7976931348623159E+308",
                                                       "4.9e-324",
                                                       "2e-324",
                                                       "2.2250738585072011e-308",
                                                       "1e400",
                                                       "0e400",
                                                       "-1e-400"};
        if (below(4) == 0) {
            text_ += oneOf(borders);
            return;
        }
        if (below(3) == 0) text_ += '-';
        if (below(5) == 0) {
            text_ += '0';
        } else {
            text_ += static_cast<char>('1' + below(9));
            digits(below(below(8) == 0 ? 400 : 22));
        }
        if (below(2) == 0) return;
        if (below(2) == 0) {
            text_ += '.';
            digits(1 + below(below(8) == 0 ? 400 : 22));
        }
        if (below(2) == 0) {
            static constexpr std::string_view marks[] = {"e", "E", "e+", "e-", "E-"};
            text_ += oneOf(marks);
            digits(1 + below(below(8) == 0 ? 30 : 3));
        }
    }

    void damage(std::string& text) {
        static constexpr std::string_view bytes(
            "\"\"\\\\{}[],:01289eE+-.tfnud \n\t\f\0\x1F\x80\xBF\xC3\xED\xFF", 36);
        const std::size_t at = below(text.size() + 1);
        const std::size_t length = below(5);
        switch (below(5)) {
            case 0:
                text.erase(at, length);
                break;
            case 1:
                text.insert(at, 1, bytes[below(bytes.size())]);
                break;
            case 2:
                if (at < text.size()) text[at] = bytes[below(bytes.size())];
                break;
            case 3:
                text.insert(below(text.size() + 1), text.substr(at, length));
                break;
            default:
                if (below(4) == 0) text.resize(at);
        }
    }

    std::mt19937_64 random_;
    std::string text_;
};

}  // namespace ledgerfern
