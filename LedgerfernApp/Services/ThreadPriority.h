#pragma once

#include "Application/Workers.h"

namespace ledgerfern {

/// Gives the calling thread the urgency of its work, as far as the system lets it. To be called once on a
/// thread, before its work: one that has been made unimportant may stay so.
void setThreadPriority(WorkPriority priority);

}  // namespace ledgerfern
