#pragma once

#include <cstdint>

#include "Foundation/JsonReader.h"

/// Sizes of JSON values, by which a request's tokens are shared out among what it was made of. They are
/// computed over the parsed value; no text is built.
namespace ledgerfern {

/// The length in UTF-16 code units of the value's compact text: no white space, each key of an object once
/// with its last value, nothing escaped in strings that needn't be, 64-bit integers in plain decimal and
/// every other number in its shortest text.
std::int64_t jsonLen(const JsonValue& value);
std::int64_t jsonLen(const JsonObject& object);

/// The same, except for a bare value: a string is measured without quotes and escapes, a Boolean as 1, a
/// number with a fraction or an exponent by its digits in plain notation; a missing value counts 8.
std::int64_t approxLen(const OptionalJson& value);

}  // namespace ledgerfern
