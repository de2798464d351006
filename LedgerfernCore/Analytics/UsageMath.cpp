#include "Analytics/UsageMath.h"

#include "Foundation/Arithmetic.h"

namespace ledgerfern::UsageMath {

std::int64_t rollingTotal(const SessionList& sessions, Instant since, Instant now) {
    std::int64_t total = 0;
    for (const SessionPointer& session : sessions) {
        if (session->lastTs && *session->lastTs < since) continue;
        for (const RequestRecord& request : session->requests.records())
            if (request.time >= since && request.time <= now) addFromOutside(total, request.d.totalTokens);
    }
    return total;
}

}  // namespace ledgerfern::UsageMath
