#pragma once

// INTERNAL to src/ical: the dates of parsed properties as calendar dates.
// The .cpp files that call these include <libical/ical.h>.

#include <QList>
#include <optional>

#include "model/foundation/CalendarDate.h"

struct icaltimetype;
typedef struct icalcomponent_impl icalcomponent;
typedef struct icalproperty_impl icalproperty;

namespace ICalDateReader {

// A time of the property's value in the zone its TZID names: the VTIMEZONE
// of that TZID in `vcalendar` when there is one, else the zone known by
// that name (a Windows or display name included). DATE values give the
// date-only value, times without zone the wall clock in "Universal"
// (floating). None for the library's null time.
std::optional<CalendarDate> dateOfTime(icaltimetype time, icalproperty *property,
                                       icalcomponent *vcalendar);
// The date of a DTSTART, DTEND, DUE, RECURRENCE-ID or other date property.
std::optional<CalendarDate> dateOfProperty(icalproperty *property, icalcomponent *vcalendar);
// Every date of the component's properties of that kind (EXDATE, RDATE),
// ascending; periods count by their start.
QList<CalendarDate> datesOfProperties(icalcomponent *component, int kind, icalcomponent *vcalendar);

}  // namespace ICalDateReader
