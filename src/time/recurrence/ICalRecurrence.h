#pragma once

// INTERNAL to the time and iCalendar libraries (src/time, src/ical): the
// mapping between RecurrenceRule and the iCalendar library's recurrence. The
// .cpp files that call it include <libical/ical.h> themselves.

#include "time/recurrence/RecurrenceRule.h"

struct icalrecurrencetype;

namespace ICalRecurrence {

// FREQ from `frequency` modulo 4, COUNT, INTERVAL (at least 1), UNTIL (a
// DATE of the day it falls on in UTC when `allDay`, else a UTC date-time),
// WKST from `weekStartDay` modulo 7, BYDAY from the pairs of `byDayDays`
// (modulo 7) and `byDayFreq` as far as both lists go, the other lists as
// they are (cut to the library's capacity).
icalrecurrencetype icalRecurrence(const RecurrenceRule &rule, bool allDay);
// The rule of a library recurrence: SECONDLY, MINUTELY, HOURLY and DAILY
// (and no frequency) are daily; each list up to its end marker.
RecurrenceRule ruleWithICalRecurrence(const icalrecurrencetype &recurrence);

}  // namespace ICalRecurrence
