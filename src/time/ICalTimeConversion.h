#pragma once

// INTERNAL to the time and iCalendar libraries (src/time, src/ical): the
// only header of the time library that speaks in the iCalendar library's
// types. It declares them without including the library; the .cpp files that
// call these functions include <libical/ical.h> themselves. Everything else
// in the program uses CalendarDate and QTimeZone.

#include <QString>
#include <QTimeZone>
#include <optional>

#include "model/foundation/CalendarDate.h"

struct icaltimetype;
typedef struct _icaltimezone icaltimezone;

namespace ICalTimeConversion {

// No value for the library's null time; otherwise the fields, date-only as
// the time's date-only flag, in the zone timeZoneFromICalTimeZone() finds
// for the time's zone (a floating time, or a zone without any, in
// "Universal").
std::optional<CalendarDate> dateWithIcaltime(const icaltimetype &time);
// As above for times with a time of day; a date-only time becomes midnight
// of that date in `dateOnlyAtMidnightInTimezone`.
std::optional<CalendarDate> dateWithIcaltime(const icaltimetype &time,
                                             const QTimeZone &dateOnlyAtMidnightInTimezone);

// The library time of a calendar date. Floating: the wall-clock fields with
// no zone. Date-only: the date's fields (read in UTC), the date-only flag
// and the library's UTC zone. Otherwise: the fields in the value's zone,
// with the library's UTC zone for a universal zone and the library's
// built-in zone of the same name (builtinTimeZone) for any other.
icaltimetype icaltimeWithDateOnly(const CalendarDate &date, bool dateOnly, bool floating);
// The library time of wall-clock fields (whole seconds), floating.
icaltimetype floatingIcaltime(const WallClock &clock);

// The sentinel 1976-04-01 00:55:45 UTC, and the test for it: any time in
// the year 1976 counts as the sentinel.
icaltimetype icaltimeDistantPast();
bool isIcaltimeDistantPast(const icaltimetype &time);

// The library's zone of a name. The library's own zone database is never
// used: "UTC", "GMT" and the empty name give the library's single UTC zone,
// any other name a handle that carries only that name (one per distinct
// name for the life of the process). All rules come from the platform.
icaltimezone *builtinTimeZone(const QString &name);

// The platform zone of a library zone, found in this order: the zone of its
// TZID (read as UTF-8, else as ISO Latin 1) by name; the zone of its Windows
// or display name; the answer cached for the TZID; the zone named by the
// VTIMEZONE's "X-ENTOURAGE-CFTIMEZONE"; the first known zone whose offsets
// and yearly rules match the VTIMEZONE's STANDARD and DAYLIGHT parts (when
// the two offsets differ); "Asia/Jerusalem" for a TZID that mentions
// Israel; the first zone whose offsets alone match (when they differ: the
// rules of old files often predate the zone's present ones); a fixed-offset zone of
// the standard offset. A VTIMEZONE that gives no offsets at all leaves the
// TZID as the name of a zone kept as it is (TimeZones::zoneNamed). Answers
// are cached per TZID for the life of the process. None for no zone or no
// TZID.
std::optional<QTimeZone> timeZoneFromICalTimeZone(icaltimezone *zone);

}  // namespace ICalTimeConversion
