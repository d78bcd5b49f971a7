#pragma once

// INTERNAL to src/ical: the calendar properties of a VCALENDAR read into a
// calendar.

class CommonDataMO;
typedef struct icalcomponent_impl icalcomponent;

namespace ICalCalendarReader {

// The calendar's default zone for floating times (X-WR-TIMEZONE), cleared
// first; title (X-WR-CALNAME), colour (X-APPLE-CALENDAR-COLOR, "#RRGGBB" or
// "#RRGGBBAA"), holiday marker, default icon and notes (X-WR-CALDESC), each
// set only when it differs. A VCALENDAR without X-WR-CALNAME gives a
// calendar that has a title the title "(null)": callers that want to keep a
// title pass a VCALENDAR that names it, or read only the default zone.
void calendarFromVCalendar(CommonDataMO *calendar, icalcomponent *vcalendar);
// Only the default zone, for items read into a calendar of the user's.
void defaultZoneFromVCalendar(CommonDataMO *calendar, icalcomponent *vcalendar);

}  // namespace ICalCalendarReader
