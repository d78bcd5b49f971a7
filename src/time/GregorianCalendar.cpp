#include "time/GregorianCalendar.h"

#include <algorithm>

#include "model/foundation/WallClock.h"

namespace {

// Seconds since midnight, with the fraction: the part of a reading that whole
// days and months do not count.
double timeOfDay(const WallClock &clock) {
    return clock.hour * 3600.0 + clock.minute * 60.0 + clock.second + clock.fraction;
}

// Whole periods from one reading to another, given the whole periods between
// their dates and whether the later reading's remainder is short of the
// earlier one's; minus one when the first reading is the later.
qint64 wholePeriods(qint64 periods, bool reversed, bool shortOfLater, bool pastEarlier) {
    if (periods > 0 && shortOfLater)
        --periods;
    else if (periods < 0 && pastEarlier)
        ++periods;
    return reversed ? periods - 1 : periods;
}

}  // namespace

GregorianCalendar::GregorianCalendar(QTimeZone zone, QLocale locale)
    : m_zone(std::move(zone)),
      m_locale(std::move(locale)),
      m_firstWeekday(int(m_locale.firstDayOfWeek()) % 7 + 1),
      m_minimumDaysInFirstWeek(m_firstWeekday == 2 ? 4 : 1) {}

qint64 GregorianCalendar::weekStart(qint64 firstDayOfPeriod) const {
    const int weekday =
        WallClock::fromLocalSeconds(firstDayOfPeriod * Date::kSecondsPerDay).weekday();
    const int intoWeek = (weekday - m_firstWeekday + 7) % 7;
    return firstDayOfPeriod - intoWeek + (7 - intoWeek >= m_minimumDaysInFirstWeek ? 0 : 7);
}

DateComponents GregorianCalendar::componentsIncludingWeek(Units units, Date fromDate) const {
    const WallClock clock = WallClock::of(fromDate, m_zone);
    const qint64 day = clock.dayNumber();
    DateComponents result;
    const auto set = [units](Unit unit, std::optional<int> &field, auto value) {
        if (units.testFlag(unit))
            field = int(value);
    };
    set(Era, result.era, clock.year > 0 ? 1 : 0);
    set(Year, result.year, clock.year);
    set(Month, result.month, clock.month);
    set(Day, result.day, clock.day);
    set(Hour, result.hour, clock.hour);
    set(Minute, result.minute, clock.minute);
    set(Second, result.second, clock.second);
    set(Weekday, result.weekday, clock.weekday());
    set(WeekdayOrdinal, result.weekdayOrdinal, (clock.day - 1) / 7 + 1);
    set(WeekOfMonth, result.weekOfMonth,
        (day - weekStart(WallClock::dayNumberOf(clock.year, clock.month, 1)) + 7) / 7);
    if (units & (Units(WeekOfYear) | YearForWeekOfYear)) {
        int year = clock.year;
        qint64 start = weekStart(WallClock::dayNumberOf(year, 1, 1));
        const qint64 nextStart = weekStart(WallClock::dayNumberOf(year + 1, 1, 1));
        if (day < start) {
            --year;
            start = weekStart(WallClock::dayNumberOf(year, 1, 1));
        } else if (day >= nextStart) {
            ++year;
            start = nextStart;
        }
        set(WeekOfYear, result.weekOfYear, (day - start) / 7 + 1);
        set(YearForWeekOfYear, result.yearForWeekOfYear, year);
    }
    return result;
}

Date GregorianCalendar::dateFromComponents(const DateComponents &components) const {
    const WallClock clock{components.year.value_or(1),   components.month.value_or(1),
                          components.day.value_or(1),    components.hour.value_or(0),
                          components.minute.value_or(0), components.second.value_or(0)};
    return clock.instantIn(components.timeZone ? *components.timeZone : m_zone);
}

Date GregorianCalendar::dateByAddingComponents(const DateComponents &components, Date date) const {
    const int years = components.year.value_or(0);
    const int months = components.month.value_or(0);
    const int days = components.day.value_or(0) + 7 * components.weekOfYear.value_or(0);
    Date result = date;
    if (years != 0 || months != 0 || days != 0) {
        WallClock clock = WallClock::of(date, m_zone);
        const int monthIndex = clock.year * 12 + (clock.month - 1) + years * 12 + months;
        clock.year = monthIndex >= 0 ? monthIndex / 12 : -((11 - monthIndex) / 12);
        clock.month = monthIndex - clock.year * 12 + 1;
        // The 31st of a month plus one month is the last day of the next.
        clock.day = std::min(clock.day, WallClock::daysInMonth(clock.year, clock.month)) + days;
        result = clock.instantIn(m_zone);
    }
    return result.addingSeconds(components.hour.value_or(0) * 3600.0 +
                                components.minute.value_or(0) * 60.0 +
                                components.second.value_or(0));
}

qint64 GregorianCalendar::daysFromDate(Date date, Date toDate) const {
    const WallClock from = WallClock::of(date, m_zone);
    const WallClock to = WallClock::of(toDate, m_zone);
    return wholePeriods(to.dayNumber() - from.dayNumber(), date > toDate,
                        timeOfDay(to) < timeOfDay(from), timeOfDay(to) > timeOfDay(from));
}

qint64 GregorianCalendar::monthsFromDate(Date date, Date toDate) const {
    const WallClock from = WallClock::of(date, m_zone);
    const WallClock to = WallClock::of(toDate, m_zone);
    const double fromRest = from.day * Date::kSecondsPerDay + timeOfDay(from);
    const double toRest = to.day * Date::kSecondsPerDay + timeOfDay(to);
    return wholePeriods(qint64(to.year - from.year) * 12 + (to.month - from.month), date > toDate,
                        toRest<fromRest, toRest> fromRest);
}

int GregorianCalendar::isoWeekNumberForDate(Date date, bool useFollowingMonday) const {
    if (useFollowingMonday) {
        DateComponents shift;
        shift.day = (9 - m_firstWeekday) % 7;
        shift.second = 7200;
        date = dateByAddingComponents(shift, date);
    }
    const WallClock clock = WallClock::of(date, m_zone);
    const int mondayBased = (clock.weekday() + 5) % 7;  // Monday 0 … Sunday 6
    const qint64 thursday = clock.dayNumber() + 3 - mondayBased;
    const int thursdayYear = WallClock::fromLocalSeconds(thursday * Date::kSecondsPerDay).year;
    return int((thursday - WallClock::dayNumberOf(thursdayYear, 1, 1)) / 7 + 1);
}

std::optional<int> GregorianCalendar::weekNumber(const DateComponents &components) {
    return components.weekOfYear;
}

bool GregorianCalendar::isRightToLeft() const {
    return m_locale.textDirection() == Qt::RightToLeft;
}

QString GregorianCalendar::stringFromInteger(qint64 value) const {
    QLocale plain = m_locale;
    plain.setNumberOptions(QLocale::OmitGroupSeparator);
    return plain.toString(value);
}
