#include "time/recurrence/RecurrenceSeries.h"

#include <libical/ical.h>
#include <algorithm>
#include <cmath>
#include <limits>

#include "model/foundation/TimeZones.h"
#include "model/foundation/WallClock.h"
#include "time/ICalTimeConversion.h"
#include "time/recurrence/ICalRecurrence.h"
#include "time/recurrence/ZoneOffsets.h"

namespace {

constexpr int kEndOfTimeYear = 4001;
// How far before `from` a walk without COUNT starts: wall clocks of
// different zones and days that the clocks skip stay inside it.
constexpr double kStartMargin = 2 * 86400.0;

qint64 dayOf(Date date) {
    return qint64(std::floor(date.secondsSinceReference() / 86400.0));
}

// Owns a library iterator.
class RuleWalk {
public:
    RuleWalk(const icalrecurrencetype &rule, const icaltimetype &start)
        : m_iterator(icalrecur_iterator_new(rule, start)) {}
    ~RuleWalk() {
        if (m_iterator)
            icalrecur_iterator_free(m_iterator);
    }
    RuleWalk(const RuleWalk &) = delete;
    RuleWalk &operator=(const RuleWalk &) = delete;

    bool isValid() const { return m_iterator != nullptr; }
    void skipTo(const icaltimetype &time) { icalrecur_iterator_set_start(m_iterator, time); }
    std::optional<icaltimetype> next() {
        const icaltimetype time = icalrecur_iterator_next(m_iterator);
        if (icaltime_is_null_time(time) || time.year >= kEndOfTimeYear)
            return std::nullopt;
        return time;
    }

private:
    icalrecur_iterator *m_iterator;
};

}  // namespace

Date RecurrenceSeries::endOfTime() {
    return CalendarDate::dateOnly(kEndOfTimeYear, 1, 1).date().addingSeconds(-12 * 3600.0);
}

QTimeZone RecurrenceSeries::wallClockZone() const {
    return allDay || floating ? TimeZones::universal() : start.effectiveZone();
}

bool RecurrenceSeries::isException(Date date) const {
    return std::any_of(exceptionDates.begin(), exceptionDates.end(), [&](const CalendarDate &e) {
        return e.date() == date || (allDay && dayOf(e.date()) == dayOf(date));
    });
}

std::vector<Date> RecurrenceSeries::occurrences(std::optional<Date> from, Date to,
                                                std::size_t limit) const {
    const QTimeZone zone = wallClockZone();
    const auto libraryTime = [&](Date date) {
        icaltimetype time = ICalTimeConversion::floatingIcaltime(WallClock::of(date, zone));
        if (allDay) {
            time.hour = time.minute = time.second = 0;
            time.is_date = 1;
        }
        return time;
    };
    const auto instantOf = [&](const icaltimetype &time) {
        if (allDay)
            return CalendarDate::dateOnly(time.year, time.month, time.day).date();
        return ZoneOffsets::instantOf(
            WallClock{time.year, time.month, time.day, time.hour, time.minute, time.second}, zone);
    };
    const auto inRange = [&](Date date) { return (!from || date >= *from) && date < to; };

    // Each rule gives at most enough for `limit` to survive the exceptions.
    const std::size_t exceptions = std::size_t(exceptionDates.size());
    const std::size_t perRule =
        limit > std::numeric_limits<std::size_t>::max() - exceptions ? limit : limit + exceptions;
    std::vector<Date> found;
    for (const RecurrenceRule &rule : rules) {
        icalrecurrencetype recurrence = ICalRecurrence::icalRecurrence(rule, allDay);
        if (rule.until && !allDay)
            recurrence.until = libraryTime(*rule.until);
        RuleWalk walk(recurrence, libraryTime(start.date()));
        if (!walk.isValid())
            continue;
        if (from && recurrence.count == 0 && *from > start.date().addingSeconds(kStartMargin))
            walk.skipTo(libraryTime(from->addingSeconds(-kStartMargin)));
        std::size_t taken = 0;
        while (taken < perRule) {
            const std::optional<icaltimetype> time = walk.next();
            if (!time)
                break;
            const Date date = instantOf(*time);
            if (date >= to)
                break;
            if (inRange(date)) {
                found.push_back(date);
                ++taken;
            }
        }
    }
    for (const CalendarDate &extra : customDates) {
        if (inRange(extra.date()))
            found.push_back(extra.date());
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    std::erase_if(found, [&](Date date) { return isException(date); });
    if (found.size() > limit)
        found.resize(limit);
    return found;
}
