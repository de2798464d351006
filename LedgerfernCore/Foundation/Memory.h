#pragma once

namespace ledgerfern {

/// Gives memory that was freed back to the system. For after a piece of work that needed much more than what
/// stays; takes some milliseconds.
void releaseFreeMemory();

}  // namespace ledgerfern
