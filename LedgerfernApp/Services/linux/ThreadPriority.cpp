#include "Services/ThreadPriority.h"

#include <sys/resource.h>
#include <unistd.h>

namespace ledgerfern {

void setThreadPriority(WorkPriority priority) {
    constexpr int utilityNiceness = 10;
    if (priority != WorkPriority::utility) return;
    // The kernel keeps it for each thread; the call speaks of processes.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), utilityNiceness);
}

}  // namespace ledgerfern
