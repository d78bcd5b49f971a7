#pragma once

#include <QString>
#include <QStringView>
#include <QTimeZone>
#include <optional>

#include "model/foundation/Date.h"
#include "model/foundation/DateComponents.h"
#include "model/foundation/WallClock.h"

// A calendar date: an instant together with the zone in which it is read. It
// holds the three kinds of time the store keeps:
//   zoned     the instant, with the item's own zone;
//   floating  the wall-clock time held as if in the zone named "Universal";
//   all-day   the date at 12:00:00 in "Universal" (noon, so that the date
//             stays the same when read anywhere from UTC-12 to UTC+12).
// A value without a zone (an invalid QTimeZone) is read in the system zone.
class CalendarDate {
public:
    CalendarDate(Date date, QTimeZone zone) : m_date(date), m_zone(std::move(zone)) {}
    // The instant at which `zone` shows `clock` (see WallClock::instantIn).
    static CalendarDate fromWallClock(const WallClock &clock, const QTimeZone &zone);
    // The date-only value of the given day: 12:00:00 "Universal".
    static CalendarDate dateOnly(int year, int month, int day);

    Date date() const { return m_date; }
    // The value's own zone; invalid when it has none.
    const QTimeZone &timeZone() const { return m_zone; }
    // The zone it is read in: its own, or the system zone when it has none.
    QTimeZone effectiveZone() const;

    // The wall clock of the value's zone at its instant (Gregorian).
    WallClock wallClock() const;
    int yearOfCommonEra() const { return wallClock().year; }
    int monthOfYear() const { return wallClock().month; }
    int dayOfMonth() const { return wallClock().day; }
    int hourOfDay() const { return wallClock().hour; }
    int minuteOfHour() const { return wallClock().minute; }
    int secondOfMinute() const { return wallClock().second; }

    // The zone is universal (TimeZones::isUniversal).
    bool isUniversal() const;
    // Universal and exactly 12:00:00: an all-day (date-only) value.
    bool isDateOnly() const;
    // Year, month, day, hour, minute and second; a date-only value leaves the
    // hour, minute and second undefined.
    DateComponents components() const;

    // The same zone, `seconds` later. This is the general add-interval
    // operation; the time library may install its own arithmetic for it with
    // setIntervalAdder() (it never loses the zone either).
    CalendarDate addingTimeInterval(double seconds) const;
    using IntervalAdder = CalendarDate (*)(const CalendarDate &date, double seconds);
    static void setIntervalAdder(IntervalAdder adder);

    // Store form "%.0f:%@": whole seconds since 2001-01-01 00:00:00 UTC, a
    // colon, the zone's name (the system zone's when the value has none).
    QString archiveToString() const;
    // Reads the store form: split at the first colon, the seconds read as a
    // number, the zone looked up by name (TimeZones::zoneNamed, so unknown
    // names are kept). No colon, or no number before it, gives no value (and
    // a warning); an empty zone name gives a value without a zone.
    static std::optional<CalendarDate> unarchiveFromString(QStringView archiveString);
    // Splits the store form at its first colon into the time and zone texts;
    // false (and both left alone) when it has no colon.
    static bool getTimeString(QString &timeString, QString &timeZoneString,
                              QStringView archiveString);

    bool operator==(const CalendarDate &other) const {
        return m_date == other.m_date && m_zone == other.m_zone;
    }

private:
    Date m_date;
    QTimeZone m_zone;
};
