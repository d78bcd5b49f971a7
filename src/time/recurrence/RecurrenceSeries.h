#pragma once

#include <QList>
#include <optional>
#include <vector>

#include "model/foundation/CalendarDate.h"
#include "time/recurrence/RecurrenceRule.h"

// What decides when a repeating item occurs, copied out of the store: its
// start, its kind of time, its rules, exception dates and extra dates. A
// plain value, so that a worker thread may expand it.
//
// Rules are followed on the wall clock of the start's zone (floating and
// all-day items: "Universal"), so a series keeps its time of day across
// daylight-saving changes; a time the clocks skip moves forward by the gap.
// An UNTIL is compared on that wall clock too (all-day items: by date).
struct RecurrenceSeries {
    CalendarDate start{Date(), QTimeZone()};
    bool allDay = false;
    bool floating = false;
    QList<RecurrenceRule> rules;
    QList<CalendarDate> exceptionDates;
    QList<CalendarDate> customDates;

    // The end of time for walks without an end: 4001-01-01.
    static Date endOfTime();

    // The starts of the occurrences from `from` (inclusive; none: from the
    // first) to `to` (exclusive), ascending, at most `limit`: the rules'
    // occurrences and the extra dates, without duplicates, less the
    // exception dates (an exception removes the occurrence at the same
    // instant; for an all-day item, on the same date). Instants as the store
    // keeps them (floating and all-day ones in "Universal"). Rules without
    // a COUNT start their walk near `from`, so a range far from the start
    // costs no more than one near it.
    std::vector<Date> occurrences(std::optional<Date> from, Date to, std::size_t limit) const;

    // The wall clock's zone: the start's own, or "Universal" for floating
    // and all-day items.
    QTimeZone wallClockZone() const;
    // True when `date` is one of the exception dates (as above).
    bool isException(Date date) const;

    bool operator==(const RecurrenceSeries &other) const = default;
};
