#pragma once

// INTERNAL to src/ical: date and time properties as the writers put them.

#include <libical/ical.h>

#include "model/foundation/CalendarDate.h"

namespace ICalDates {

// A new DTSTART, DTEND, DUE, RECURRENCE-ID, RDATE or EXDATE (any date
// property) of the date: a DATE for `allDay`, a local time without zone for
// `floating`, a UTC time ("Z") in a universal zone, and otherwise the local
// time in the date's zone with its TZID.
icalproperty *newDateProperty(icalproperty_kind kind, const CalendarDate &date, bool allDay,
                              bool floating);
// The instant as a UTC time.
icaltimetype utcIcaltime(Date date);

}  // namespace ICalDates
