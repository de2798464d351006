#include "Foundation/Clock.h"

#include <chrono>

namespace ledgerfern {

Clock systemClock() {
    return [] {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    };
}

Clock fixedClock(double now) {
    return [now] { return now; };
}

}  // namespace ledgerfern
