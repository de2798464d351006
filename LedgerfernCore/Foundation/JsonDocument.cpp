#include "Foundation/JsonDocument.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "Foundation/JsonReader.h"
#include "Foundation/JsonWriter.h"
#include "Foundation/Numbers.h"

namespace ledgerfern {

namespace {

constexpr std::size_t maxNesting = 1024;

/// The texts of a document's numbers, in their order. The library tells those of some numbers only, so they
/// are taken from the document itself, which it reads from the start to the end.
class NumberTexts {
public:
    explicit NumberTexts(std::string_view text) : text_(text) {}

    /// Of the next number; empty behind the last one.
    std::string next() {
        while (at_ < text_.size() && text_[at_] != '-' && !isDigit(text_[at_]))
            if (text_[at_++] == '"') skipString();
        start_ = at_;
        at_ = std::min(text_.find_first_not_of("+-.0123456789Ee", at_), text_.size());
        return std::string(text_.substr(start_, at_ - start_));
    }
    /// Where the number given last begins and ends.
    std::size_t start() const { return start_; }
    std::size_t end() const { return at_; }

private:
    /// Goes behind the closing quote of a string whose opening one was passed.
    void skipString() {
        for (; text_[at_] != '"'; ++at_)
            if (text_[at_] == '\\') ++at_;
        ++at_;
    }

    std::string_view text_;
    std::size_t start_ = 0;
    std::size_t at_ = 0;
};

/// The same document with each number being 0.
std::string withoutNumbers(std::string_view text) {
    std::string result;
    NumberTexts numbers(text);
    std::size_t copied = 0;
    while (!numbers.next().empty()) {
        result.append(text.substr(copied, numbers.start() - copied)).append("0");
        copied = numbers.end();
    }
    return result.append(text.substr(copied));
}

/// Builds the tree from what the reader comes upon.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
public:
    explicit TreeBuilder(std::string_view text) : numbers_(text) {}

    JsonNode take() { return std::move(root_); }
    std::size_t errorPosition() const { return errorPosition_; }

    bool null() override { return add({nullptr}); }
    bool boolean(bool value) override { return add({value}); }
    bool number_integer(number_integer_t) override { return addNumber(); }
    bool number_unsigned(number_unsigned_t) override { return addNumber(); }
    bool number_float(number_float_t, const string_t&) override { return addNumber(); }
    bool string(string_t& value) override { return add({std::move(value)}); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open({JsonNode::Object{}}); }
    bool start_array(std::size_t) override { return open({JsonNode::Array{}}); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& value) override {
        key_ = std::move(value);
        return true;
    }
    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        constexpr int numberTooLarge = 406;
        errorPosition_ = position;
        isTooLarge_ = error.id == numberTooLarge;
        return false;
    }
    bool isTooLarge() const { return isTooLarge_; }

private:
    bool addNumber() { return add({JsonNode::Number{numbers_.next()}}); }

    bool add(JsonNode node) {
        place(std::move(node));
        return true;
    }

    JsonNode& place(JsonNode node) {
        if (open_.empty()) return root_ = std::move(node);
        if (auto* const array = open_.back()->as<JsonNode::Array>())
            return array->emplace_back(std::move(node));
        return (*open_.back()->as<JsonNode::Object>())[key_] = std::move(node);
    }

    /// What is open stays where it is until it is closed: only the last of an array grows.
    bool open(JsonNode node) {
        if (open_.size() == maxNesting) return false;
        open_.push_back(&place(std::move(node)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    NumberTexts numbers_;
    JsonNode root_;
    std::vector<JsonNode*> open_;
    std::string key_;
    std::size_t errorPosition_ = 0;
    bool isTooLarge_ = false;
};

JsonErrorPlace placeOf(std::string_view text, std::size_t position) {
    const std::string_view before = text.substr(0, position == 0 ? 0 : std::min(position - 1, text.size()));
    const auto lines = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    const std::size_t lineStart = before.rfind('\n') + 1;  // 0 where there is none
    return {lines + 1, before.size() - lineStart + 1};
}

void write(JsonWriter& writer, const JsonNode& node);

struct NodeWriter {
    JsonWriter& writer;

    void operator()(std::nullptr_t) const { writer.null(); }
    void operator()(bool flag) const { writer.value(flag); }
    void operator()(const JsonNode::Number& number) const { writer.numberText(number.text); }
    void operator()(const std::string& text) const { writer.value(text); }
    void operator()(const JsonNode::Array& items) const {
        writer.beginArray();
        for (const JsonNode& item : items)
            write(writer, item);
        writer.endArray();
    }
    void operator()(const JsonNode::Object& members) const {
        writer.beginObject();
        for (const auto& [name, value] : members) {
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
    TreeBuilder builder(text);
    // The library overlooks a byte-order mark, and takes a zero byte for the end.
    const bool hasMark = text.starts_with("\xEF\xBB\xBF");
    const std::size_t zero = text.find('\0');
    if (!hasMark && nlohmann::json::sax_parse(text.begin(), text.end(), &builder)) {
        if (zero == std::string_view::npos) return builder.take();
        place = placeOf(text, zero + 1);
        return std::nullopt;
    }
    if (builder.isTooLarge() && JsonReader().read(text)) {
        // A number beyond a double's range, of which the library will hear nothing: all that it tells is
        // where one stands.
        TreeBuilder again(text);
        if (nlohmann::json::sax_parse(withoutNumbers(text), &again)) return again.take();
    }
    place = placeOf(text, builder.errorPosition());
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
