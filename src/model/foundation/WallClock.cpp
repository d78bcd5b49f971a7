#include "model/foundation/WallClock.h"

#include <QDateTime>
#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr qint64 kSecondsPerDay = 86400;

qint64 floorDiv(qint64 a, qint64 b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

// Days from 1970-01-01 to the given date of the proleptic Gregorian calendar,
// for months 1 … 12 (the era arithmetic of the civil calendar).
qint64 daysFromCivil(qint64 year, int month, int day) {
    year -= month <= 2 ? 1 : 0;
    const qint64 era = floorDiv(year, 400);
    const qint64 yearOfEra = year - era * 400;
    const qint64 dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const qint64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

void civilFromDays(qint64 days, int &year, int &month, int &day) {
    days += 719468;
    const qint64 era = floorDiv(days, 146097);
    const qint64 dayOfEra = days - era * 146097;
    const qint64 yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 shiftedMonth = (5 * dayOfYear + 2) / 153;
    day = int(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    month = int(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    year = int(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
}

// A stretch of time over which a zone keeps one offset and either standard
// or daylight-saving time, from `from` up to (not including) `to`, in
// seconds since 1970.
struct OffsetSpan {
    QByteArray zone;
    qint64 from;
    qint64 to;
    int offset;
    bool daylight;
};

// The spans met last, per thread: asking the zone costs microseconds, and
// the dates of a calendar fall into few spans. A span reaches at most this
// far from the instant it was found at, should the zone not list its later
// changes.
constexpr qint64 kSpanReach = 183 * kSecondsPerDay;
constexpr std::size_t kSpansKept = 64;
thread_local std::vector<OffsetSpan> t_offsetSpans;
thread_local std::size_t t_nextSpanToReplace = 0;

OffsetSpan offsetSpanAt(const QTimeZone &zone, qint64 seconds) {
    const QDateTime at = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    OffsetSpan span{zone.id(), seconds - kSpanReach, seconds + kSpanReach, zone.offsetFromUtc(at),
                    zone.isDaylightTime(at)};
    if (!zone.hasTransitions())
        return span;
    // The change at or before the instant, and the first one after it.
    const QTimeZone::OffsetData previous = zone.previousTransition(at.addSecs(1));
    if (previous.atUtc.isValid())
        span.from = std::max(span.from, previous.atUtc.toSecsSinceEpoch());
    const QTimeZone::OffsetData next = zone.nextTransition(at);
    if (next.atUtc.isValid())
        span.to = std::min(span.to, next.atUtc.toSecsSinceEpoch());
    return span;
}

// The span of a valid zone at an instant.
const OffsetSpan &offsetSpanAtSeconds1970(const QTimeZone &zone, double seconds) {
    const auto whole = qint64(std::floor(seconds));
    const QByteArray id = zone.id();
    for (const OffsetSpan &span : t_offsetSpans) {
        if (whole >= span.from && whole < span.to && span.zone == id)
            return span;
    }
    OffsetSpan span = offsetSpanAt(zone, whole);
    if (t_offsetSpans.size() < kSpansKept)
        return t_offsetSpans.emplace_back(std::move(span));
    OffsetSpan &replaced = t_offsetSpans[t_nextSpanToReplace];
    replaced = std::move(span);
    t_nextSpanToReplace = (t_nextSpanToReplace + 1) % kSpansKept;
    return replaced;
}

int offsetAtSeconds1970(const QTimeZone &zone, double seconds) {
    return zone.isValid() ? offsetSpanAtSeconds1970(zone, seconds).offset : 0;
}

}  // namespace

int offsetFromUtc(const QTimeZone &zone, Date date) {
    return offsetAtSeconds1970(zone, date.secondsSince1970());
}

bool isDaylightTime(const QTimeZone &zone, Date date) {
    return zone.isValid() && offsetSpanAtSeconds1970(zone, date.secondsSince1970()).daylight;
}

qint64 WallClock::dayNumberOf(int year, int month, int day) {
    const qint64 carriedYear = year + floorDiv(month - 1, 12);
    const int normalizedMonth = int((month - 1) - floorDiv(month - 1, 12) * 12) + 1;
    return daysFromCivil(carriedYear, normalizedMonth, 1) + day - 1;
}

int WallClock::daysInMonth(int year, int month) {
    return int(dayNumberOf(year, month + 1, 1) - dayNumberOf(year, month, 1));
}

WallClock WallClock::fromLocalSeconds(double seconds) {
    const double whole = std::floor(seconds);
    const auto wholeSeconds = qint64(whole);
    const qint64 days = floorDiv(wholeSeconds, kSecondsPerDay);
    const qint64 secondOfDay = wholeSeconds - days * kSecondsPerDay;
    WallClock clock;
    civilFromDays(days, clock.year, clock.month, clock.day);
    clock.hour = int(secondOfDay / 3600);
    clock.minute = int(secondOfDay / 60 % 60);
    clock.second = int(secondOfDay % 60);
    clock.fraction = seconds - whole;
    return clock;
}

WallClock WallClock::of(Date date, const QTimeZone &zone) {
    return fromLocalSeconds(date.secondsSince1970() + offsetFromUtc(zone, date));
}

qint64 WallClock::dayNumber() const {
    return dayNumberOf(year, month, day);
}

double WallClock::localSeconds() const {
    return double(dayNumber() * kSecondsPerDay + qint64(hour) * 3600 + qint64(minute) * 60 +
                  second) +
           fraction;
}

int WallClock::weekday() const {
    // 1970-01-01 was a Thursday (5).
    const qint64 days = dayNumber() + 4;
    return int(days - floorDiv(days, 7) * 7) + 1;
}

Date WallClock::instantIn(const QTimeZone &zone) const {
    const double local = localSeconds();
    if (zone.isValid()) {
        // Most readings lie more than a day from any change of offset: the
        // span of the day before then reaches past the day after, and its
        // offset is the answer (an offset is less than a day).
        const OffsetSpan &span = offsetSpanAtSeconds1970(zone, local - kSecondsPerDay);
        if (double(span.to) > local + kSecondsPerDay)
            return Date::fromSecondsSince1970(local - span.offset);
    }
    // At most one change of offset falls within a day of any reading; the
    // offsets a day before and a day after are the two candidates.
    const int before = offsetAtSeconds1970(zone, local - kSecondsPerDay);
    const int after = offsetAtSeconds1970(zone, local + kSecondsPerDay);
    const double withBefore = local - before;
    const double withAfter = local - after;
    const bool beforeFits = offsetAtSeconds1970(zone, withBefore) == before;
    const bool afterFits = offsetAtSeconds1970(zone, withAfter) == after;
    if (beforeFits && afterFits)
        return Date::fromSecondsSince1970(std::min(withBefore, withAfter));
    if (afterFits)
        return Date::fromSecondsSince1970(withAfter);
    // Fits with the earlier offset, or falls into a gap: read with the offset
    // in force before the gap, which lands as far past the gap as it was in.
    return Date::fromSecondsSince1970(withBefore);
}
