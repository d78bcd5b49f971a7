#include "app/commands/EventTimes.h"

#include <QDateTime>
#include <algorithm>

#include "app/Command.h"
#include "model/foundation/WallClock.h"

namespace {

QDateTime readIso(const QString &text, const char *what) {
    QDateTime value = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!value.isValid())
        value = QDateTime(QDate::fromString(text, Qt::ISODate), QTime(0, 0));
    if (!value.isValid())
        throw CommandError(QStringLiteral("%1 is not an ISO 8601 date or time: \"%2\"")
                               .arg(QLatin1String(what), text),
                           2);
    return value;
}

CalendarDate toCalendarDate(const QDateTime &value, bool allDay, const QTimeZone &zone) {
    const QDate day = value.date();
    if (allDay)
        return CalendarDate::dateOnly(day.year(), day.month(), day.day());
    if (value.timeSpec() != Qt::LocalTime)
        return CalendarDate(Date::fromDateTime(value), zone);
    WallClock clock;
    clock.year = day.year();
    clock.month = day.month();
    clock.day = day.day();
    clock.hour = value.time().hour();
    clock.minute = value.time().minute();
    clock.second = value.time().second();
    return CalendarDate::fromWallClock(clock, zone);
}

qint64 dayIn2001(const CalendarDate &date) {
    return date.wallClock().dayNumber() - WallClock::dayNumberOf(2001, 1, 1);
}

}  // namespace

EventTimes EventTimes::parse(const QString &start, const QString &end, bool allDay,
                             const QTimeZone &zone) {
    EventTimes times;
    times.start = toCalendarDate(readIso(start, "--start"), allDay, zone);
    times.end = toCalendarDate(readIso(end, "--end"), allDay, zone);
    if (times.end.date() < times.start.date())
        throw CommandError(QStringLiteral("--end %1 is before --start %2").arg(end, start), 2);
    times.firstDay = dayIn2001(times.start);
    const double lastMoment = allDay ? 86400 : 1;
    times.lastDay =
        times.end.date() > times.start.date()
            ? std::max(times.firstDay, dayIn2001(times.end.addingTimeInterval(-lastMoment)))
            : times.firstDay;
    return times;
}
