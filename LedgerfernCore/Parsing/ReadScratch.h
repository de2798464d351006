#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "Foundation/JsonReader.h"
#include "Parsing/LineScanner.h"

namespace ledgerfern {

/// What a worker needs to read log files, kept from one file to the next: one block of a file, and the
/// readers of its lines and of the JSON texts inside them. One thread at a time.
class ReadScratch {
public:
    /// How much of a file is read at once: it bounds the memory of a read whatever the file's size. So small
    /// that a block, and what its lines become, are still in the processor's cache when they are looked at: a
    /// whole scan takes an eighth less than with blocks of 4 MiB.
    static constexpr std::size_t defaultBlockSize = 131'072;

    explicit ReadScratch(std::size_t blockSize = defaultBlockSize)
        : blockSize_(blockSize),
          block_(std::make_unique_for_overwrite<char[]>(blockSize + LineScanner::padding)) {}

    char* block() { return block_.get(); }
    std::size_t blockSize() const { return blockSize_; }
    JsonReader& lines() { return lines_; }
    JsonReader& texts() { return texts_; }

    /// Gives back the memory that long lines have left behind. The values that the readers gave are gone
    /// then.
    void releaseMemory() {
        lines_.releaseMemory();
        texts_.releaseMemory();
    }

private:
    std::size_t blockSize_;
    std::unique_ptr<char[]> block_;
    JsonReader lines_;
    JsonReader texts_;
};
static_assert(LineScanner::padding >= JsonReader::padding);

/// Fills a buffer of the given size with the next bytes of a log and says how many there were; 0 at the end.
using ByteSource = std::function<std::size_t(char* buffer, std::size_t size)>;

}  // namespace ledgerfern
