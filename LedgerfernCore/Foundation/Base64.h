#pragma once

#include <string>
#include <string_view>

/// Bytes as text in base64: the standard alphabet with "+" and "/", padded with "=".
namespace ledgerfern {

void appendBase64(std::string& out, std::string_view bytes);

/// Makes `bytes` what the text stands for. False, and an empty result, where it isn't base64: a character
/// outside the alphabet (white space too), padding that is missing or misplaced, or a last character with
/// bits that mean nothing. So every byte string has exactly one text.
bool readBase64(std::string_view text, std::string& bytes);

}  // namespace ledgerfern
