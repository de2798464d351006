#include "Services/ThreadPriority.h"

#include <pthread.h>
#include <pthread/qos.h>

namespace ledgerfern {

void setThreadPriority(WorkPriority priority) {
    const bool isUtility = priority == WorkPriority::utility;
    ::pthread_set_qos_class_self_np(isUtility ? QOS_CLASS_UTILITY : QOS_CLASS_USER_INITIATED, 0);
}

}  // namespace ledgerfern
