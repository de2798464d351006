#pragma once

#include <span>
#include <string_view>
#include <vector>

/// What each release brought, for the sheet that tells it.
namespace ledgerfern::WhatsNewNotes {

struct Release {
    std::string_view version;
    std::vector<std::string_view> lines;  ///< At least one.
};

/// All of them, newest first.
std::span<const Release> releases();

/// The lines of a version; one line that says little where it isn't known.
std::vector<std::string_view> lines(std::string_view version);

}  // namespace ledgerfern::WhatsNewNotes
