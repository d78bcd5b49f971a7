#include "time/TransitionRule.h"

#include "model/foundation/WallClock.h"

namespace {

const char *const kWeekdayNames[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};

}  // namespace

QString TransitionRule::toString() const {
    return QStringLiteral("FREQ=YEARLY;BYDAY=%1%2;BYMONTH=%3")
        .arg(ordinal)
        .arg(QLatin1String(kWeekdayNames[(weekday + 6) % 7]))
        .arg(month);
}

int TransitionRule::dayInYear(int year) const {
    const int firstWeekday = WallClock{year, month, 1}.weekday();
    const int firstMatch = 1 + (weekday - firstWeekday + 7) % 7;
    if (ordinal > 0)
        return firstMatch + 7 * (ordinal - 1);
    const int daysInMonth = WallClock::daysInMonth(year, month);
    return firstMatch + 7 * ((daysInMonth - firstMatch) / 7);
}

TransitionRule rruleForDate(const QTimeZone &zone, Date transition) {
    // The day as the clock showed it up to the change: the day on which a
    // VTIMEZONE starts the change (a change at midnight is on the new day).
    const int offsetBefore = offsetFromUtc(zone, transition.addingSeconds(-1));
    const WallClock clock =
        WallClock::fromLocalSeconds(transition.secondsSince1970() + offsetBefore);
    const int ordinal = (clock.day - 1) / 7 + 1;
    return TransitionRule{clock.month, clock.weekday(), ordinal >= 4 ? -1 : ordinal};
}
