#pragma once

#include <optional>
#include <string>

#include "Foundation/JsonReader.h"

namespace ledgerfern::RolloutParser {

/// The first 90 characters of a message's "content", without white space at its ends; absent where it has no
/// text.
std::optional<std::string> firstText(const OptionalJson& content);

}  // namespace ledgerfern::RolloutParser
