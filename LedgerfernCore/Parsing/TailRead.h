#pragma once

#include <cstdint>
#include <string>

#include "Parsing/LineScanner.h"
#include "Parsing/ReadScratch.h"

namespace ledgerfern {

/// What a file holds from `offset` on; null where it can't be opened.
ByteSource openTail(const std::string& path, std::uint64_t offset);

/// Reads a source to its end, and hands each line that is complete to `consume`. `consumed` counts every byte
/// read, those of an unfinished last line included, which stay in `pending` for the next time.
template <class Consume>
void readTail(const ByteSource& source, ReadScratch& scratch, std::uint64_t& consumed, std::string& pending,
              const Consume& consume) {
    while (const std::size_t count = source(scratch.block(), scratch.blockSize())) {
        consumed += count;
        LineScanner::scan({scratch.block(), count}, pending, consume);
    }
}

}  // namespace ledgerfern
