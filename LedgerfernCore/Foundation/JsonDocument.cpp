#include "Foundation/JsonDocument.h"

#include <algorithm>
#include <utility>

#include "Foundation/JsonReader.h"
#include "Foundation/JsonWriter.h"
#include "Foundation/Numbers.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t maxNesting = 1024;

/// Builds the tree from the document's start to its end. Where it stops before that, there is no JSON.
class DocumentReader {
public:
    explicit DocumentReader(std::string_view text) : text_(text) {}

    bool read(JsonNode& root) {
        if (!value(root)) return false;
        skipBlanks();
        return at_ == text_.size();
    }

    JsonErrorPlace place() const {
        const std::string_view before = text_.substr(0, at_);
        const auto lines = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        const std::size_t lineStart = before.rfind('\n') + 1;  // 0 where there is none
        return {lines + 1, at_ - lineStart + 1};
    }

private:
    bool value(JsonNode& node) {
        skipBlanks();
        switch (next()) {
            case '{':
                return object(node.content.emplace<JsonNode::Object>());
            case '[':
                return array(node.content.emplace<JsonNode::Array>());
            case '"':
                return string(node.content.emplace<std::string>());
            case 't':
                node.content = true;
                return word("true");
            case 'f':
                node.content = false;
                return word("false");
            case 'n':
                node.content = nullptr;
                return word("null");
            default:
                return number(node.content.emplace<JsonNode::Number>().text);
        }
    }

    bool object(JsonNode::Object& members) {
        return list('}', [&] {
            std::string key;
            skipBlanks();
            if (!string(key)) return false;
            skipBlanks();
            return take(':') && value(members[key]);
        });
    }

    bool array(JsonNode::Array& items) {
        return list(']', [&] { return value(items.emplace_back()); });
    }

    /// What stands between two brackets, the opening one of which is next.
    template <class Element>
    bool list(char bracket, const Element& element) {
        if (nesting_ == maxNesting) return false;
        ++nesting_;
        ++at_;
        skipBlanks();
        if (next() != bracket) {
            do {
                if (!element()) return false;
                skipBlanks();
            } while (take(','));
        }
        --nesting_;
        return take(bracket);
    }

    bool string(std::string& value) {
        const std::size_t start = at_;
        if (!take('"')) return false;
        while (!take('"'))
            if (!character()) return false;
        return decode(text_.substr(start, at_ - start), value);
    }

    bool character() {
        if (take('\\')) return escape();
        if (static_cast<unsigned char>(next()) < ' ') return false;
        ++at_;
        return true;
    }

    bool escape() {
        if (!take('u')) return takeOneOf("\"\\/bfnrt");
        for (int digits = 0; digits < 4; ++digits)
            if (!takeOneOf("0123456789ABCDEFabcdef")) return false;
        return true;
    }

    /// What the string that has just been read says.
    bool decode(std::string_view quoted, std::string& value) {
        if (!isValidUtf8(quoted)) {
            const std::string repaired = repairedUtf8(quoted);
            const auto bad = std::mismatch(quoted.begin(), quoted.end(), repaired.begin()).first;
            at_ -= static_cast<std::size_t>(quoted.end() - bad);
            return false;
        }
        if (normaliseJson(quoted, normalised_)) {
            value.assign(1, JsonNode::verbatim).append(quoted);
            return true;
        }
        const auto decoded = asString(reader_.read(quoted));
        value = decoded.value_or("");
        return decoded.has_value();
    }

    bool number(std::string& text) {
        const std::size_t start = at_;
        take('-');
        if (!take('0') && !digits()) return false;
        if (take('.') && !digits()) return false;
        if (takeOneOf("Ee")) {
            takeOneOf("+-");
            if (!digits()) return false;
        }
        text = text_.substr(start, at_ - start);
        return true;
    }

    bool digits() {
        if (!isDigit(next())) return false;
        while (isDigit(next()))
            ++at_;
        return true;
    }

    bool word(std::string_view letters) {
        return std::all_of(letters.begin(), letters.end(), [this](char letter) { return take(letter); });
    }

    void skipBlanks() {
        while (takeOneOf(" \t\n\r")) {
        }
    }

    /// Behind the end it is a character that JSON has nowhere.
    char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool take(char character) {
        if (next() != character) return false;
        ++at_;
        return true;
    }
    bool takeOneOf(std::string_view characters) {
        if (characters.find(next()) == std::string_view::npos) return false;
        ++at_;
        return true;
    }

    const std::string_view text_;
    std::size_t at_ = 0;
    std::size_t nesting_ = 0;
    JsonReader reader_;  // of the strings
    std::string normalised_;
};

bool isVerbatim(const std::string& text) {
    return text.starts_with(JsonNode::verbatim);
}

std::string_view verbatimText(std::string_view text) {
    return text.substr(1);
}

void write(JsonWriter& writer, const JsonNode& node);

struct NodeWriter {
    JsonWriter& writer;

    void operator()(std::nullptr_t) const { writer.null(); }
    void operator()(bool flag) const { writer.value(flag); }
    void operator()(const JsonNode::Number& number) const { writer.verbatim(number.text); }
    void operator()(const std::string& text) const {
        if (isVerbatim(text))
            writer.verbatim(verbatimText(text));
        else
            writer.value(text);
    }
    void operator()(const JsonNode::Array& items) const {
        writer.beginArray();
        for (const JsonNode& item : items)
            write(writer, item);
        writer.endArray();
    }
    void operator()(const JsonNode::Object& members) const {
        writer.beginObject();
        for (const auto& [name, value] : members) {
            if (isVerbatim(name))
                writer.key(name, verbatimText(name));
            else
                writer.key(name);
            write(writer, value);
        }
        writer.endObject();
    }
};

void write(JsonWriter& writer, const JsonNode& node) {
    std::visit(NodeWriter{writer}, node.content);
}

}  // namespace

std::optional<JsonNode> readJsonDocument(std::string_view text, JsonErrorPlace& place) {
    DocumentReader reader(text);
    JsonNode root;
    if (reader.read(root)) return root;
    place = reader.place();
    return std::nullopt;
}

std::string jsonText(const JsonNode& node) {
    std::string text;
    JsonWriter writer(text);
    write(writer, node);
    text += '\n';
    return text;
}

}  // namespace ledgerfern
