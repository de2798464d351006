#pragma once

#include <functional>

namespace ledgerfern {

/// How urgent a piece of work is.
enum class WorkPriority {
    userInitiated,  ///< Somebody waits for it.
    utility,        ///< Nobody does; it leaves the processor to whoever needs it.
};

/// Threads for what takes long, so that the main thread never waits. Any thread may call it.
class Workers {
public:
    virtual ~Workers() = default;

    /// Runs `work` on a thread of its own, at once.
    virtual void start(WorkPriority priority, std::function<void()> work) = 0;
};

}  // namespace ledgerfern
