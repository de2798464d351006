#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Analytics/Aggregates.h"
#include "FileCache/CachedFile.h"
#include "Foundation/Check.h"

/// Any bytes are a record or none. One that is can be summed up, and comes back as it is when it is written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ledgerfern;
    static CachedFileDecoder decoder;
    const auto file = decoder.decode({reinterpret_cast<const char*>(data), size});
    if (!file) return 0;
    const SessionList sessions{file->toSessionResult()};
    const Aggregates aggregates(sessions, 1, Aggregates::cycleAnchorFrom(sessions));
    check(!aggregates.parityJSON().empty(), "a restored session can't be summed up");

    const auto encoded = encode(*file);
    check(encoded.has_value(), "a restored record can't be written");
    const auto again = decoder.decode(encoded->json);
    check(again.has_value(), "a record that was written isn't read");
    check(*again->session == *file->session && again->sessionId == file->sessionId &&
              again->wasUsable == file->wasUsable && again->v == file->v,
          "a record that was written reads differently");
    return 0;
}
