#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ledgerfern {

/// The user's preferences: bytes and arrays of strings under named keys, kept from run to run. Any thread may
/// call every function.
///
/// Writing doesn't fail outward: where it can't be done, everything stays as it was and the result is false.
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;

    /// Absent where nothing is stored under the key, or something else than bytes.
    virtual std::optional<std::string> bytes(std::string_view key) const = 0;
    virtual bool setBytes(std::string_view key, std::string_view bytes) = 0;

    /// Absent where nothing is stored under the key, or something else than an array of strings.
    virtual std::optional<std::vector<std::string>> strings(std::string_view key) const = 0;
    virtual bool setStrings(std::string_view key, const std::vector<std::string>& strings) = 0;
};

}  // namespace ledgerfern
