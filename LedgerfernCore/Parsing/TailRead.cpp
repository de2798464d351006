#include "Parsing/TailRead.h"

#include <memory>

#include "Foundation/Files.h"

namespace ledgerfern {

ByteSource openTail(const std::string& path, std::uint64_t offset) {
    auto opened = FileReader::open(path);
    if (!opened) return nullptr;
    // A function is copyable, and a reader isn't.
    const auto file = std::make_shared<FileReader>(std::move(*opened));
    file->seek(offset);
    return [file](char* buffer, std::size_t size) { return file->read(buffer, size); };
}

}  // namespace ledgerfern
