#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace ledgerfern {

/// Writes a file whole or not at all: into a new file in the same folder, flushed to the disk, that then
/// takes the place of what is there. On a failure what is there stays as it is, and nothing else is left
/// behind; the error names the file.
///
/// The folder must exist. A link is replaced, not followed. The file's permissions are `mode`; where none is
/// given, those of the file that it replaces.
Result writeAtomically(const std::string& path, std::string_view bytes,
                       std::optional<mode_t> mode = std::nullopt);

/// The system calls of an atomic write, with their results and errno; a test puts failing ones in their
/// place.
class WriteSteps {
public:
    virtual ~WriteSteps() = default;
    virtual int create(const std::string& path, mode_t mode);
    virtual ssize_t write(int file, const char* bytes, std::size_t size);
    virtual int setMode(int file, mode_t mode);
    virtual int sync(int file);
    virtual int close(int file);
    virtual int rename(const std::string& from, const std::string& to);
    virtual int remove(const std::string& path);
    virtual int syncFolder(const std::string& path);
};

Result writeAtomically(const std::string& path, std::string_view bytes, std::optional<mode_t> mode,
                       WriteSteps& steps);

}  // namespace ledgerfern
