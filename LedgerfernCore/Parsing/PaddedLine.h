#pragma once

#include <string>
#include <string_view>

#include "Parsing/LineScanner.h"

namespace ledgerfern {

/// A copy of a line with the readers' padding behind it.
class PaddedLine {
public:
    explicit PaddedLine(std::string_view line) : bytes_(line), length_(line.size()) {
        bytes_.append(LineScanner::padding, '\0');
    }
    std::string_view view() const { return std::string_view(bytes_).substr(0, length_); }

private:
    std::string bytes_;
    std::size_t length_;
};

}  // namespace ledgerfern
