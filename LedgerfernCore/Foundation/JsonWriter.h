#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ledgerfern {

/// Writes one JSON document into a string, without holding it as a tree.
///
/// The keys of an object must come in ascending order of their bytes, each once: a document's bytes follow
/// from its content alone. Anything else is a fault of this program, as is a number that isn't finite. Texts
/// may be any bytes: each bad byte of invalid UTF-8 is written as U+FFFD.
class JsonWriter {
public:
    /// With two blanks a level, or without any white space.
    enum class Layout { pretty, compact };

    explicit JsonWriter(std::string& out, Layout layout = Layout::pretty) : out_(out), layout_(layout) {}

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    void key(std::string_view name);
    /// The same by its text, which must be a JSON string; its place among the keys is that of `name`.
    void key(std::string_view name, std::string_view json);

    void null();
    void value(bool flag);
    void value(std::int64_t number);
    /// The shortest text that reads back as the same double.
    void value(double number);
    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(const std::string& text) { value(std::string_view(text)); }
    /// A value by its text, which must be JSON.
    void verbatim(std::string_view json);
    /// The bytes as a text in base64.
    void base64(std::string_view bytes);
    template <class T>
    void value(const std::optional<T>& optional) {
        if (optional)
            value(*optional);
        else
            null();
    }

    template <class T>
    void member(std::string_view name, const T& content) {
        key(name);
        value(content);
    }

private:
    struct Level {
        bool isObject;
        bool isEmpty = true;
        std::string lastKey;
    };

    void beginKey(std::string_view name);
    void endKey();
    void beginValue();
    void newLine();
    void end(bool isObject, char bracket);

    std::string& out_;
    const Layout layout_;
    std::vector<Level> levels_;
    bool afterKey_ = false;
};

}  // namespace ledgerfern
