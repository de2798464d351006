#include "Foundation/Memory.h"

#include <malloc.h>

namespace ledgerfern {

void releaseFreeMemory() {
    ::malloc_trim(0);
}

}  // namespace ledgerfern
