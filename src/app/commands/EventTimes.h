#pragma once

#include <QString>
#include <QTimeZone>

#include "model/foundation/CalendarDate.h"

// The start and end of a new item as typed on the command line: ISO 8601
// dates or date-times, read in a zone.
struct EventTimes {
    CalendarDate start{Date(0), QTimeZone()};
    CalendarDate end{Date(0), QTimeZone()};
    // Days since 2001-01-01 on which the item shows: from the start's day to
    // the day of the last moment before its end (an all-day end is the day
    // after the last day, as in iCalendar; an end at midnight ends the day
    // before), never before the start's day.
    qint64 firstDay = 0;
    qint64 lastDay = 0;

    // All-day: the dates only (at 12:00 "Universal"). Otherwise a time
    // without an offset is a wall time in `zone`; one with "Z" or an offset
    // is that instant, shown in `zone`. Throws CommandError for text that is
    // not ISO 8601 or an end before the start.
    static EventTimes parse(const QString &start, const QString &end, bool allDay,
                            const QTimeZone &zone);
};
