#include "Foundation/JsonWriter.h"

#include <cmath>

#include "Foundation/Base64.h"
#include "Foundation/Check.h"
#include "Foundation/Numbers.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

/// The letter behind the backslash where a character has a short escape, otherwise 0.
char shortEscape(char c) {
    switch (c) {
        case '"':
        case '\\':
            return c;
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return 0;
    }
}

void appendEscaped(std::string& out, char c) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(c);
    if (const char letter = shortEscape(c))
        out.append({'\\', letter});
    else
        out.append({'\\', 'u', '0', '0', digits[code >> 4], digits[code & 15]});
}

bool mustBeEscaped(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

void appendText(std::string& out, std::string_view text) {
    out.push_back('"');
    std::size_t plain = 0;  // where what isn't written yet begins
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!mustBeEscaped(text[i])) continue;
        out.append(text, plain, i - plain);
        appendEscaped(out, text[i]);
        plain = i + 1;
    }
    out.append(text, plain);
    out.push_back('"');
}

void appendAnyBytes(std::string& out, std::string_view bytes) {
    if (isValidUtf8(bytes))
        appendText(out, bytes);
    else
        appendText(out, repairedUtf8(bytes));
}

}  // namespace

void JsonWriter::newLine() {
    if (layout_ == Layout::compact) return;
    out_.push_back('\n');
    out_.append(2 * levels_.size(), ' ');
}

/// What stands before a value: nothing behind a key, otherwise the comma and the new line of an element.
void JsonWriter::beginValue() {
    if (afterKey_ || levels_.empty()) {
        afterKey_ = false;
        return;
    }
    Level& level = levels_.back();
    check(!level.isObject, "a member of a JSON object has no key");
    if (!level.isEmpty) out_.push_back(',');
    level.isEmpty = false;
    newLine();
}

void JsonWriter::beginObject() {
    beginValue();
    out_.push_back('{');
    levels_.push_back({true, true, {}});
}

void JsonWriter::beginArray() {
    beginValue();
    out_.push_back('[');
    levels_.push_back({false, true, {}});
}

void JsonWriter::end(bool isObject, char bracket) {
    check(!levels_.empty() && levels_.back().isObject == isObject && !afterKey_,
          "a JSON object or array ends that isn't open");
    const bool isEmpty = levels_.back().isEmpty;
    levels_.pop_back();
    if (!isEmpty) newLine();
    out_.push_back(bracket);
}

void JsonWriter::endObject() {
    end(true, '}');
}

void JsonWriter::endArray() {
    end(false, ']');
}

void JsonWriter::beginKey(std::string_view name) {
    check(!levels_.empty() && levels_.back().isObject && !afterKey_, "a JSON key outside an object");
    Level& level = levels_.back();
    check(level.isEmpty || level.lastKey < name, "the keys of a JSON object don't ascend");
    if (!level.isEmpty) out_.push_back(',');
    level.isEmpty = false;
    level.lastKey = name;
    newLine();
}

void JsonWriter::endKey() {
    out_.append(layout_ == Layout::compact ? ":" : ": ");
    afterKey_ = true;
}

void JsonWriter::key(std::string_view name) {
    beginKey(name);
    appendAnyBytes(out_, name);
    endKey();
}

void JsonWriter::key(std::string_view name, std::string_view json) {
    beginKey(name);
    out_.append(json);
    endKey();
}

void JsonWriter::null() {
    beginValue();
    out_.append("null");
}

void JsonWriter::value(bool flag) {
    beginValue();
    out_.append(flag ? "true" : "false");
}

void JsonWriter::verbatim(std::string_view json) {
    beginValue();
    out_.append(json);
}

void JsonWriter::value(std::int64_t number) {
    beginValue();
    out_.append(std::to_string(number));
}

void JsonWriter::value(double number) {
    check(std::isfinite(number), "a JSON number isn't finite");
    beginValue();
    out_.append(shortestText(number));
}

void JsonWriter::value(std::string_view text) {
    beginValue();
    appendAnyBytes(out_, text);
}

void JsonWriter::base64(std::string_view bytes) {
    beginValue();
    out_.push_back('"');
    appendBase64(out_, bytes);
    out_.push_back('"');
}

}  // namespace ledgerfern
