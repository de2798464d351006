#pragma once

#include <functional>

namespace ledgerfern {

/// The main thread's loop, as the rest of the application sees it, so that tests can play it.
class MainLoop {
public:
    using Work = std::function<void()>;

    virtual ~MainLoop() = default;

    /// Runs `work` on the main thread, after what was posted before, and never at once. Any thread.
    virtual void post(Work work) = 0;
    /// Runs `work` on the main thread once `seconds` have passed. Main thread.
    virtual void after(double seconds, Work work) = 0;
    /// Runs `work` on the main thread every `seconds`, as long as the loop lives. Main thread.
    virtual void every(double seconds, Work work) = 0;
};

}  // namespace ledgerfern
