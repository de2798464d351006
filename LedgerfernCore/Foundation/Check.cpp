#include "Foundation/Check.h"

#include <cstdio>
#include <cstdlib>

namespace ledgerfern {

void fault(const char* reason, std::source_location place) {
    std::fprintf(stderr, "ledgerfern: %s (%s:%u)\n", reason, place.file_name(), place.line());
    std::abort();
}

}  // namespace ledgerfern
