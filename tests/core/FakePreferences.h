#pragma once

#include <map>

#include "Foundation/PreferencesStore.h"

namespace ledgerfern {

/// Preferences in memory. Used from one thread.
struct FakePreferences : PreferencesStore {
    std::map<std::string, std::string, std::less<>> bytesByKey;
    std::map<std::string, std::vector<std::string>, std::less<>> stringsByKey;
    bool canBeWritten = true;

    std::optional<std::string> bytes(std::string_view key) const override {
        const auto entry = bytesByKey.find(key);
        if (entry == bytesByKey.end()) return std::nullopt;
        return entry->second;
    }
    bool setBytes(std::string_view key, std::string_view value) override {
        if (canBeWritten) bytesByKey.insert_or_assign(std::string(key), std::string(value));
        return canBeWritten;
    }
    std::optional<std::vector<std::string>> strings(std::string_view key) const override {
        const auto entry = stringsByKey.find(key);
        if (entry == stringsByKey.end()) return std::nullopt;
        return entry->second;
    }
    bool setStrings(std::string_view key, const std::vector<std::string>& value) override {
        if (canBeWritten) stringsByKey.insert_or_assign(std::string(key), value);
        return canBeWritten;
    }
};

}  // namespace ledgerfern
