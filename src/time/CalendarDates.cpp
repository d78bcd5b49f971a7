#include "time/CalendarDates.h"

#include <cmath>

#include "model/foundation/WallClock.h"

namespace {

const QTimeZone &orUniversal(const QTimeZone &zone) {
    return zone.isValid() ? zone : TimeZones::universal();
}

// The receiver's whole-second fields read in `zone`, with those the
// components define put in their place.
WallClock mergedFields(const CalendarDate &date, const DateComponents &components,
                       const QTimeZone &zone) {
    WallClock clock = WallClock::of(date.date(), zone);
    clock.year = components.year.value_or(clock.year);
    clock.month = components.month.value_or(clock.month);
    clock.day = components.day.value_or(clock.day);
    clock.hour = components.hour.value_or(clock.hour);
    clock.minute = components.minute.value_or(clock.minute);
    clock.second = components.second.value_or(clock.second);
    clock.fraction = 0.0;
    return clock;
}

}  // namespace

namespace CalendarDates {

CalendarDate dateWithYear(int year, int month, int day, int hour, int minute, int second,
                          bool dateOnly, const QTimeZone &timeZone) {
    if (dateOnly)
        return CalendarDate::dateOnly(year, month, day);
    return CalendarDate::fromWallClock(WallClock{year, month, day, hour, minute, second},
                                       orUniversal(timeZone));
}

CalendarDate dateWithComponents(const DateComponents &components, bool dateOnly,
                                const QTimeZone &timeZone) {
    return dateWithYear(components.year.value_or(1), components.month.value_or(1),
                        components.day.value_or(1), components.hour.value_or(0),
                        components.minute.value_or(0), components.second.value_or(0), dateOnly,
                        timeZone.isValid() ? timeZone : components.timeZone.value_or(QTimeZone()));
}

CalendarDate dateWithTimeIntervalSince1970(double seconds, bool dateOnly,
                                           const QTimeZone &timeZone) {
    const CalendarDate instant(Date::fromSecondsSince1970(seconds), orUniversal(timeZone));
    if (!dateOnly)
        return instant;
    const WallClock clock = instant.wallClock();
    return CalendarDate::dateOnly(clock.year, clock.month, clock.day);
}

std::optional<CalendarDate> calendarDateWithDate(const std::optional<Date> &date,
                                                 const QTimeZone &timeZone) {
    if (!date)
        return std::nullopt;
    return CalendarDate(*date, orUniversal(timeZone));
}

void adjustComponentsForTimeZone(DateComponents &components, const QTimeZone &timeZone,
                                 bool isDateOnly, bool isFloating) {
    if (!isDateOnly && !isFloating)
        components.timeZone = timeZone;
}

CalendarDate calendarDateByApplyingComps(const CalendarDate &date, const DateComponents &components,
                                         const GregorianCalendar &calendar, bool floating) {
    const QTimeZone zone = floating ? date.effectiveZone() : calendar.timeZone();
    return CalendarDate(mergedFields(date, components, zone).instantIn(zone), date.timeZone());
}

CalendarDate calendarDateByApplyingComps(const CalendarDate &date, const DateComponents &components,
                                         const QTimeZone &andTimeZone) {
    return CalendarDate::fromWallClock(mergedFields(date, components, date.effectiveZone()),
                                       andTimeZone);
}

GregorianCalendar calendar(const CalendarDate &date) {
    return GregorianCalendar(date.effectiveZone());
}

CalendarDate dateByAddingComponents(const CalendarDate &date, const DateComponents &components) {
    return CalendarDate(calendar(date).dateByAddingComponents(components, date.date()),
                        date.timeZone());
}

CalendarDate localTimeFromFloatingTime(const CalendarDate &date, const QTimeZone &zone) {
    return CalendarDate::fromWallClock(date.wallClock(), zone);
}

CalendarDate floatingTimeFromLocalTime(const CalendarDate &date) {
    return localTimeFromFloatingTime(date, TimeZones::universal());
}

CalendarDate calendarDateByAddingTimeInterval(const CalendarDate &date, double seconds) {
    return CalendarDate(date.date().addingSeconds(std::trunc(seconds)), date.timeZone());
}

void fixDateByAddingTimeInterval() {
    CalendarDate::setIntervalAdder(&calendarDateByAddingTimeInterval);
}

}  // namespace CalendarDates
