#include "Foundation/JsonFilePreferences.h"

#include <nlohmann/json.hpp>

#include "Foundation/AtomicWrite.h"
#include "Foundation/Files.h"
#include "Foundation/Numbers.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// Text ------------------------------------------------------------------------------------------------------

std::string hexOf(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex += {digits[byte >> 4], digits[byte & 15]};
    }
    return hex;
}

std::optional<unsigned> digitValue(char c) {
    if (isDigit(c)) return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    return std::nullopt;
}

std::optional<std::string> bytesOfHex(std::string_view hex) {
    if (hex.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const auto high = digitValue(hex[i]);
        const auto low = digitValue(hex[i + 1]);
        if (!high || !low) return std::nullopt;
        bytes += static_cast<char>(*high * 16 + *low);
    }
    return bytes;
}

Json encoded(std::string_view bytes) {
    if (isValidUtf8(bytes)) return Json(bytes);
    return Json{{"hex", hexOf(bytes)}};
}

std::optional<std::string> decodedBytes(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (!value.is_object() || !value.contains("hex") || !value["hex"].is_string()) return std::nullopt;
    return bytesOfHex(value["hex"].get<std::string>());
}

std::optional<std::vector<std::string>> decodedStrings(const Json& value) {
    if (!value.is_array()) return std::nullopt;
    std::vector<std::string> strings;
    for (const Json& element : value) {
        if (!element.is_string()) return std::nullopt;
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

// The file --------------------------------------------------------------------------------------------------

struct Content {
    Json object = Json::object();
    bool isDamaged = false;
    bool isReadable = true;
};

bool isFree(const fs::path& name) {
    std::error_code error;
    return fs::symlink_status(name, error).type() == fs::file_type::not_found;
}

Content readContent(const fs::path& file) {
    if (isFree(file)) return {};
    std::error_code error;
    const bool isFolder = fs::is_directory(file, error);
    const auto text = isFolder ? std::string() : readWholeFile(file.string());
    if (!text) return {.isReadable = false};
    Json object = Json::parse(*text, nullptr, false);
    if (!object.is_object()) return {.isDamaged = true};
    return {.object = std::move(object)};
}

Json valueOf(const Json& object, std::string_view key) {
    const auto entry = object.find(std::string(key));
    return entry == object.end() ? Json() : *entry;
}

/// Gives a file a name that is free, and returns that; absent where it fails.
std::optional<fs::path> keepAside(const fs::path& file) {
    constexpr int mostNames = 1000;
    for (int n = 1; n <= mostNames; ++n) {
        const fs::path aside = file.string() + ".damaged" + (n == 1 ? "" : "-" + std::to_string(n));
        if (!isFree(aside)) continue;
        std::error_code error;
        fs::rename(file, aside, error);
        return error ? std::nullopt : std::optional(aside);
    }
    return std::nullopt;
}

bool replaceDamaged(const fs::path& file, const std::string& text) {
    const auto aside = keepAside(file);
    if (!aside) return false;
    if (writeAtomically(file.string(), text)) return true;
    std::error_code ignored;
    fs::rename(*aside, file, ignored);
    return false;
}

bool store(const fs::path& file, std::string_view key, Json value) {
    Content content = readContent(file);
    if (!content.isReadable) return false;
    content.object[std::string(key)] = std::move(value);
    std::string text;
    try {
        text = content.object.dump(2) + "\n";
    } catch (const Json::exception&) {
        return false;  // a text that isn't UTF-8
    }
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (content.isDamaged) return replaceDamaged(file, text);
    return static_cast<bool>(writeAtomically(file.string(), text));
}

}  // namespace

JsonFilePreferences::JsonFilePreferences(fs::path file) : file_(std::move(file)) {}

std::optional<std::string> JsonFilePreferences::bytes(std::string_view key) const {
    const std::lock_guard lock(mutex_);
    return decodedBytes(valueOf(readContent(file_).object, key));
}

bool JsonFilePreferences::setBytes(std::string_view key, std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    return store(file_, key, encoded(bytes));
}

std::optional<std::vector<std::string>> JsonFilePreferences::strings(std::string_view key) const {
    const std::lock_guard lock(mutex_);
    return decodedStrings(valueOf(readContent(file_).object, key));
}

bool JsonFilePreferences::setStrings(std::string_view key, const std::vector<std::string>& strings) {
    const std::lock_guard lock(mutex_);
    return store(file_, key, Json(strings));
}

}  // namespace ledgerfern
