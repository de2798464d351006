#include "Application/LocaleTimes.h"

#include <QDateTime>
#include <QTimeZone>
#include <cmath>

#include "UsageRecords/TSDate.h"

namespace ledgerfern::LocaleTimes {

namespace {

/// Local time in the zone that everything else is counted in, as if it were UTC.
QDateTime localTime(Instant instant) {
    const auto seconds = static_cast<qint64>(std::floor(instant)) + TSDate::localOffset(instant);
    return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc());
}

/// The locale's short format; that of the C locale has seconds too.
QString timeFormat(const QLocale& locale) {
    return locale.language() == QLocale::C ? QStringLiteral("HH:mm")
                                           : locale.timeFormat(QLocale::ShortFormat);
}

}  // namespace

std::string weekdayAndTime(Instant instant, const QLocale& locale) {
    if (!TSDate::isWithinCalendar(instant)) return "";
    const QDateTime local = localTime(instant);
    const QString weekday = locale.dayName(local.date().dayOfWeek(), QLocale::ShortFormat);
    return (weekday + u' ' + locale.toString(local.time(), timeFormat(locale))).toStdString();
}

}  // namespace ledgerfern::LocaleTimes
