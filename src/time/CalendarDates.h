#pragma once

#include <QTimeZone>
#include <optional>

#include "model/foundation/CalendarDate.h"
#include "model/foundation/DateComponents.h"
#include "model/foundation/TimeZones.h"
#include "time/GregorianCalendar.h"

// Building and moving calendar dates. A zone argument that is not valid
// means "no zone"; where a value needs one, "Universal" stands in.
namespace CalendarDates {

// Date-only: the date at 12:00:00 "Universal" (hour, minute, second and zone
// ignored); otherwise the fields as a wall-clock time in the zone.
CalendarDate dateWithYear(int year, int month, int day, int hour, int minute, int second,
                          bool dateOnly, const QTimeZone &timeZone);
// The same from components (undefined fields: year, month and day 1, the time
// fields 0), in the components' zone when no zone is given.
CalendarDate dateWithComponents(const DateComponents &components, bool dateOnly,
                                const QTimeZone &timeZone);
// The instant in the zone; date-only: the day it falls on in the zone, at
// 12:00:00 "Universal".
CalendarDate dateWithTimeIntervalSince1970(double seconds, bool dateOnly,
                                           const QTimeZone &timeZone);
// The instant with the zone; no value for no date.
std::optional<CalendarDate> calendarDateWithDate(const std::optional<Date> &date,
                                                 const QTimeZone &timeZone);

// Sets the components' zone to `timeZone` unless the value is date-only or
// floating (whose fields are read in "Universal").
void adjustComponentsForTimeZone(DateComponents &components, const QTimeZone &timeZone,
                                 bool isDateOnly, bool isFloating);
// The receiver's year … second read in `calendar` (in the receiver's own
// calendar when floating), those the components define replaced, rebuilt
// in that calendar, returned in the receiver's zone.
CalendarDate calendarDateByApplyingComps(const CalendarDate &date, const DateComponents &components,
                                         const GregorianCalendar &calendar, bool floating);
// The receiver's fields merged with the components as above, then rebuilt as
// a wall-clock time in `andTimeZone`, which the result carries.
CalendarDate calendarDateByApplyingComps(const CalendarDate &date, const DateComponents &components,
                                         const QTimeZone &andTimeZone);

// The Gregorian calendar of the receiver's zone (in the user's locale).
GregorianCalendar calendar(const CalendarDate &date);
// Calendar arithmetic in the receiver's own calendar; the zone is kept.
CalendarDate dateByAddingComponents(const CalendarDate &date, const DateComponents &components);

// The receiver's wall-clock fields rebuilt in `zone` (the viewer's zone): a
// floating time as the viewer sees it.
CalendarDate localTimeFromFloatingTime(const CalendarDate &date,
                                       const QTimeZone &zone = TimeZones::systemZone());
// The receiver's wall-clock fields rebuilt in "Universal".
CalendarDate floatingTimeFromLocalTime(const CalendarDate &date);

// Adds the whole seconds (the fraction is dropped), keeping the zone.
CalendarDate calendarDateByAddingTimeInterval(const CalendarDate &date, double seconds);
// Installs calendarDateByAddingTimeInterval as CalendarDate's general
// add-interval operation. Called at start-up.
void fixDateByAddingTimeInterval();

}  // namespace CalendarDates
