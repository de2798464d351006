#pragma once

#include <QLocale>
#include <string>

#include "UsageRecords/Records.h"

/// Instants as the user's desktop writes them, in the local time zone. UTF-8.
namespace ledgerfern::LocaleTimes {

/// "Sun 9:00 AM", "Sun 09:00": abbreviated weekday, hour and minute. Empty outside the years 1 to 9999.
std::string weekdayAndTime(Instant instant, const QLocale& locale = QLocale::system());

}  // namespace ledgerfern::LocaleTimes
