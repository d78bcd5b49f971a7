#pragma once

// INTERNAL to the time and iCalendar libraries (src/time, src/ical), like
// ICalTimeConversion.h: it hands out the iCalendar library's components.

#include <QTimeZone>

typedef struct icalcomponent_impl icalcomponent;

namespace VTimezoneGenerator {

// A new VTIMEZONE (owned by the caller) for `zone`, from the platform's zone
// database, with the zone's name as TZID. Historically accurate: the
// transitions of the years firstYear … lastYear, a rule carried on while it
// holds and ended (UNTIL) before the year its successor starts; otherwise
// the current year's transitions only, each moved to start in 1970 (at its
// rule's first occurrence in 1970 for a recurring one).
icalcomponent *newVTimezoneForRangeOfYears(const QTimeZone &zone, int firstYear, int lastYear,
                                           bool historicallyAccurate);

}  // namespace VTimezoneGenerator
