#include "time/PosixDateFormatter.h"

#include <QDateTime>
#include <QLocale>
#include <cmath>

const PosixDateFormatter &PosixDateFormatter::posixDateFormatter() {
    static const PosixDateFormatter formatter;
    return formatter;
}

QString PosixDateFormatter::stringFromDate(Date date, const QString &format,
                                           const QTimeZone &zone) const {
    const auto milliseconds = qint64(std::floor(date.secondsSince1970() * 1000.0));
    return QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(milliseconds, zone), format);
}

std::optional<Date> PosixDateFormatter::dateFromString(const QString &text, const QString &format,
                                                       const QTimeZone &zone) const {
    const QDateTime parsed = QLocale::c().toDateTime(text, format);
    if (!parsed.isValid())
        return std::nullopt;
    // The fields as read, placed in the zone (not in the process's zone).
    return Date::fromDateTime(QDateTime(parsed.date(), parsed.time(), zone));
}
