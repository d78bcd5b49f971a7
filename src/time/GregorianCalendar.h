#pragma once

#include <QFlags>
#include <QLocale>
#include <QTimeZone>
#include <optional>

#include "model/foundation/Date.h"
#include "model/foundation/DateComponents.h"

// The Gregorian calendar of a zone and a locale: dates broken into
// components and built from them, calendar arithmetic, and week numbers.
class GregorianCalendar {
public:
    enum Unit : unsigned {
        Era = 1u << 1,
        Year = 1u << 2,
        Month = 1u << 3,
        Day = 1u << 4,
        Hour = 1u << 5,
        Minute = 1u << 6,
        Second = 1u << 7,
        Weekday = 1u << 9,
        WeekdayOrdinal = 1u << 10,
        WeekOfMonth = 1u << 12,
        WeekOfYear = 1u << 13,
        YearForWeekOfYear = 1u << 14,
    };
    Q_DECLARE_FLAGS(Units, Unit)

    // The first weekday (1 = Sunday … 7 = Saturday) comes from the locale;
    // the minimum number of days of the first week is 4 for calendars whose
    // week starts on Monday (ISO 8601), 1 otherwise.
    explicit GregorianCalendar(QTimeZone zone, QLocale locale = QLocale());

    const QTimeZone &timeZone() const { return m_zone; }
    const QLocale &locale() const { return m_locale; }
    int firstWeekday() const { return m_firstWeekday; }
    void setFirstWeekday(int weekday) { m_firstWeekday = weekday; }
    int minimumDaysInFirstWeek() const { return m_minimumDaysInFirstWeek; }
    void setMinimumDaysInFirstWeek(int days) { m_minimumDaysInFirstWeek = days; }

    // The given units of `fromDate`, read in the calendar's zone.
    DateComponents componentsIncludingWeek(Units units, Date fromDate) const;
    // The instant of the components' year, month, day, hour, minute and
    // second (1, 1, 1, 0, 0, 0 where undefined; overflowing fields carried)
    // in their zone, else the calendar's.
    Date dateFromComponents(const DateComponents &components) const;
    // Calendar arithmetic: years, months, weeks of year and days move the
    // wall clock (a day later is the same time of day, whatever the offset
    // does), hours, minutes and seconds then move the instant.
    Date dateByAddingComponents(const DateComponents &components, Date date) const;

    // Whole days from `date` to `toDate`, minus one when `date` is the later.
    qint64 daysFromDate(Date date, Date toDate) const;
    // Whole months, with the same correction.
    qint64 monthsFromDate(Date date, Date toDate) const;

    // The ISO 8601 week number of `date`; with `useFollowingMonday` the date
    // is first moved forward by ((9 - firstWeekday) mod 7) days and 2 hours.
    int isoWeekNumberForDate(Date date, bool useFollowingMonday) const;
    // The week of year of the components.
    static std::optional<int> weekNumber(const DateComponents &components);
    // The units that weekNumber() needs: week of year and its year.
    static Units weekNumberUnit() { return Units(WeekOfYear) | YearForWeekOfYear; }

    // The locale's language is written right to left.
    bool isRightToLeft() const;
    // The integer as the locale's default number format writes it.
    QString stringFromInteger(qint64 value) const;

private:
    qint64 weekStart(qint64 firstDayOfPeriod) const;

    QTimeZone m_zone;
    QLocale m_locale;
    int m_firstWeekday;
    int m_minimumDaysInFirstWeek;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(GregorianCalendar::Units)
