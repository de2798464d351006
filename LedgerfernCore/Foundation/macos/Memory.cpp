#include "Foundation/Memory.h"

#include <malloc/malloc.h>

namespace ledgerfern {

void releaseFreeMemory() {
    ::malloc_zone_pressure_relief(nullptr, 0);
}

}  // namespace ledgerfern
