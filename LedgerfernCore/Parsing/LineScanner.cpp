#include "Parsing/LineScanner.h"

namespace ledgerfern::LineScanner {

bool contains(std::string_view haystack, std::string_view needle) {
    return !needle.empty() && haystack.find(needle) != std::string_view::npos;
}

}  // namespace ledgerfern::LineScanner
