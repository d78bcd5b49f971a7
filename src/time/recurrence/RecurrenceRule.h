#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "model/foundation/Date.h"

// One repetition rule of an item, as the rest of the program passes it
// around: a plain value, free of the iCalendar library. Weekdays count from
// 0 (Sunday) to 6 (Saturday) throughout.
struct RecurrenceRule {
    enum Frequency { Daily = 0, Weekly = 1, Monthly = 2, Yearly = 3 };

    qint64 count = 0;  // occurrences; 0: no limit
    qint64 frequency = Daily;
    qint64 interval = 1;        // every n-th period; below 1 acts as 1
    qint64 weekStartDay = 1;    // 0 Sunday … 6 Saturday
    qint64 regenerate = 0;      // to-dos: the next one follows the completion
    std::optional<Date> until;  // the last possible occurrence
    QList<int> byDayDays;       // weekdays
    QList<int> byDayFreq;       // the ordinal of the weekday at the same index: 0 every, -1 last
    QList<int> byMonth;         // 1…12
    QList<int> byMonthDay;      // ±1…31
    QList<int> bySetPos;        // ±1…366
    QList<int> byWeekNumber;    // ±1…53
    QList<int> byYearDay;       // ±1…366

    // A new rule: daily, every day, without end.
    static RecurrenceRule rule() { return {}; }

    // "count = %ld, frequency = %ld, …" with every field, for logs.
    QString description() const;

    // The RRULE value (without "RRULE:") the rule writes as iCalendar: an
    // UNTIL is a DATE when `allDay`, else a UTC date-time.
    QString iCalendarText(bool allDay) const;
    // The rule of an RRULE value ("FREQ=WEEKLY;BYDAY=MO"), an optional
    // "RRULE:" in front. Sub-daily frequencies become daily (items repeat at
    // most once a day); BYHOUR, BYMINUTE and BYSECOND are dropped. None, with
    // a warning, for text that is not a rule.
    static std::optional<RecurrenceRule> fromICalendarText(const QString &text);

    // Every field equal; a missing and an empty list are the same thing.
    bool operator==(const RecurrenceRule &other) const = default;
};
