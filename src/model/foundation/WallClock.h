#pragma once

#include <QTimeZone>
#include <QtGlobal>

#include "model/foundation/Date.h"

// A reading of a wall clock on the proleptic Gregorian calendar: what a clock
// on the wall of some zone shows at some instant. Years are astronomical (year
// 0 is 1 BC). Fields may overflow when a reading is built (month 13, day 0,
// minute 90 …); they are carried into the larger fields the way a calendar
// does, so that instantIn() and localSeconds() accept them.
struct WallClock {
    int year = 2001;
    int month = 1;  // 1 … 12
    int day = 1;    // 1 … 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    double fraction = 0.0;  // of the second, 0 <= fraction < 1 when read

    // The reading at `date` in `zone` (an invalid zone reads as UTC).
    static WallClock of(Date date, const QTimeZone &zone);
    // The reading of `seconds` since 1970-01-01 00:00:00 on the wall clock.
    static WallClock fromLocalSeconds(double seconds);

    // Seconds since 1970-01-01 00:00:00 on the wall clock, fields carried.
    double localSeconds() const;
    // Days since 1970-01-01, fields carried (time fields ignored).
    qint64 dayNumber() const;
    // 1 = Sunday … 7 = Saturday.
    int weekday() const;
    // True when the time fields read exactly 12:00:00.
    bool isNoon() const { return hour == 12 && minute == 0 && second == 0 && fraction == 0.0; }

    // The instant at which `zone` shows this reading. A reading that the zone
    // skips (the hour lost when clocks go forward) is moved forward by the
    // length of the gap, as calendars do; a reading that occurs twice (the
    // hour repeated when clocks go back) gives the first of the two instants.
    Date instantIn(const QTimeZone &zone) const;

    bool operator==(const WallClock &) const = default;

    static qint64 dayNumberOf(int year, int month, int day);
    static int daysInMonth(int year, int month);
};

// Offset from UTC of `zone` at `date`, in seconds (zero for an invalid zone).
int offsetFromUtc(const QTimeZone &zone, Date date);
// Whether `zone` keeps daylight-saving time at `date` (false for an invalid
// zone). Both answers are kept per thread for the stretch between the
// zone's changes around the date.
bool isDaylightTime(const QTimeZone &zone, Date date);
