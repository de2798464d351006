#include "Foundation/FileStat.h"

namespace ledgerfern {

std::timespec modificationTime(const struct stat& attributes) {
    return attributes.st_mtimespec;
}

}  // namespace ledgerfern
