#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Foundation/Check.h"
#include "UsageRecords/TSDate.h"

/// Whatever a log gives as a timestamp is an instant of the years 1 to 9999, or absent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ledgerfern;
    constexpr double yearOne = -62135596800;
    constexpr double yearTenThousand = 253402300800;
    const auto instant = TSDate::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!instant) return 0;
    check(*instant >= yearOne && *instant < yearTenThousand, "an instant outside the years 1 to 9999");
    check(TSDate::utcDayKeyDate(TSDate::utcDayKey(*instant)).has_value(), "a day key that doesn't read");
    check(TSDate::isoWeekKeyDate(TSDate::isoWeekKey(*instant)).has_value(), "a week key that doesn't read");
    return 0;
}
