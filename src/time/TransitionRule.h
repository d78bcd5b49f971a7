#pragma once

#include <QString>
#include <QTimeZone>

#include "model/foundation/Date.h"

// The yearly rule of a zone's change of offset, as a VTIMEZONE writes it:
// FREQ=YEARLY, BYMONTH = the month, BYDAY = the weekday with its ordinal in
// the month (1 … 3, or -1 for the last).
struct TransitionRule {
    int month = 1;
    int weekday = 1;  // 1 = Sunday … 7 = Saturday
    int ordinal = 1;

    // The recurrence text in the order the iCalendar library writes it:
    // "FREQ=YEARLY;BYDAY=-1SU;BYMONTH=3".
    QString toString() const;
    // Day of month of the rule's occurrence in `year`.
    int dayInYear(int year) const;

    bool operator==(const TransitionRule &) const = default;
};

// The rule of the transition at `transition` in `zone` (rruleForDate): month,
// weekday and weekday ordinal read in the zone on the wall clock of the offset
// in force up to the change, an ordinal of 4 or more counting as the last (-1).
TransitionRule rruleForDate(const QTimeZone &zone, Date transition);
