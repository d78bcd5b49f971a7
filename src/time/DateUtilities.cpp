#include "time/DateUtilities.h"

#include <cmath>

#include "model/foundation/Log.h"
#include "model/foundation/TimeZones.h"
#include "time/CalendarDates.h"
#include "time/PosixDateFormatter.h"

namespace {

constexpr double kJulianDateOf1970 = 2440587.5;

const QString &rfc3339Format() {
    static const QString format = QStringLiteral("yyyy-MM-dd'T'HH:mm:ss.zzz'Z'");
    return format;
}

}  // namespace

namespace DateUtilities {

QString networkString(Date date) {
    return QString::asprintf("%f", date.secondsSinceReference());
}

std::optional<Date> dateWithNetworkString(QStringView text) {
    bool isNumber = false;
    const double seconds = text.trimmed().toDouble(&isNumber);
    if (!isNumber || !std::isfinite(seconds)) {
        logWarning("DateUtilities: not a network date: %@", text.toString());
        return std::nullopt;
    }
    return Date(seconds);
}

bool isNewerThan(Date date, Date other) {
    return date > other;
}

bool isNewerOrEqualTo(Date date, Date other) {
    return !(date < other);
}

CalendarDate normalizedDateWithAllDay(Date date, bool allDay) {
    return CalendarDates::dateWithTimeIntervalSince1970(date.secondsSince1970(), allDay,
                                                        TimeZones::universal());
}

Date truncatedDate(Date date) {
    return Date(std::trunc(date.secondsSinceReference()));
}

double julianDate(Date date) {
    return date.secondsSince1970() / Date::kSecondsPerDay + kJulianDateOf1970;
}

Date dateFromJulianDate(double julianDate) {
    return Date::fromSecondsSince1970((julianDate - kJulianDateOf1970) * Date::kSecondsPerDay);
}

QString rfc3339String(Date date) {
    return PosixDateFormatter::posixDateFormatter().stringFromDate(date, rfc3339Format(),
                                                                   QTimeZone::utc());
}

std::optional<Date> dateFromRFC3339String(const QString &text) {
    return PosixDateFormatter::posixDateFormatter().dateFromString(text, rfc3339Format(),
                                                                   QTimeZone::utc());
}

}  // namespace DateUtilities
