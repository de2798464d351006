#pragma once

#include <filesystem>
#include <mutex>

#include "Foundation/PreferencesStore.h"

namespace ledgerfern {

/// Preferences in one JSON file, which people may read and edit.
///
/// The file is an object. Bytes are a string where they are UTF-8, otherwise `{"hex": "00ff"}`; arrays of
/// strings are such. Each reading goes to the file, and each writing reads it first, so that keys of other
/// versions and edits by hand are kept. It is replaced whole or not at all. A file that is damaged counts as
/// empty, and is kept as "<name>.damaged", "<name>.damaged-2" and so on when the first key is written. One
/// that can't be read isn't written either.
class JsonFilePreferences : public PreferencesStore {
public:
    /// Neither the file nor its folder need be there: writing makes them.
    explicit JsonFilePreferences(std::filesystem::path file);

    std::optional<std::string> bytes(std::string_view key) const override;
    bool setBytes(std::string_view key, std::string_view bytes) override;
    std::optional<std::vector<std::string>> strings(std::string_view key) const override;
    bool setStrings(std::string_view key, const std::vector<std::string>& strings) override;

private:
    std::filesystem::path file_;
    mutable std::mutex mutex_;  // one reading or writing of the file at a time
};

}  // namespace ledgerfern
