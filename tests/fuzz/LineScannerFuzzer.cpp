#include "Parsing/LineScanner.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Foundation/Check.h"

namespace {

using namespace ledgerfern;

std::vector<std::string> linesOf(std::string_view bytes, std::size_t blockSize, std::string& pending) {
    std::vector<std::string> lines;
    while (!bytes.empty()) {
        // A block of its own, so that a read behind its end is seen; only the padding may be read.
        std::string block(bytes.substr(0, blockSize));
        bytes.remove_prefix(block.size());
        LineScanner::scan(block, pending, [&](std::string_view line) { lines.emplace_back(line); });
    }
    return lines;
}

}  // namespace

/// The first byte is a block size: the lines don't depend on it, and they and their ends make up the bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::string wholePending, pending;
    const auto whole = linesOf(bytes, bytes.size(), wholePending);
    check(linesOf(bytes, std::size_t{data[0]} + 1, pending) == whole, "the lines depend on the blocks");
    check(pending == wholePending, "the rest depends on the blocks");

    std::size_t at = 0;
    for (const std::string& line : whole) {
        check(bytes.substr(at).starts_with(line), "a line isn't what stands there");
        at += line.size();
        if (bytes.substr(at).starts_with('\r')) ++at;
        check(bytes.substr(at).starts_with('\n'), "a line doesn't end where a line ends");
        ++at;
    }
    check(bytes.substr(at) == wholePending, "bytes were lost");
    return 0;
}
