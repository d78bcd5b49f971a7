#pragma once

#include <optional>

#include "model/foundation/CalendarDate.h"
#include "model/foundation/DateComponents.h"

class CommonDataMO;

// The kind of an item (event, to-do, graphic, sticky, journal entry by
// `eventType`) and the dates it is shown at, read from its attributes.
// Nothing is stored; main thread only.
class ItemDates {
public:
    explicit ItemDates(const CommonDataMO *item) : m_item(item) {}

    bool isTask() const;        // a to-do
    bool canHaveTime() const;   // only plain events carry a time of day
    bool canBeUndated() const;  // to-dos and journal entries
    bool canBlockTime() const;  // an event with a start
    // The same of an item of that type, with or without a start.
    static bool canBlockTime(qint64 eventType, bool hasStart);
    bool hasTime() const;  // may have a time, has a start, not all day
    // To-dos: no completion, start or due date; other items: no start.
    bool isUndated() const;

    // The start, or the due date when there is none; the end likewise.
    std::optional<CalendarDate> startDate() const;
    std::optional<CalendarDate> endDate() const;
    // The same from the dates themselves (start or end, and the due date).
    static std::optional<CalendarDate> dateOrDue(const std::optional<CalendarDate> &date,
                                                 const std::optional<CalendarDate> &due);
    // Days, hours, minutes and seconds from startDate() to endDate(), read
    // in the start's zone; all undefined when either is missing.
    DateComponents durationComps() const;
    // Floating or all day, and not completed.
    bool effectiveFloating() const;
    // Where the item shows: the completion time (in no zone) for a completed
    // item; otherwise the start / end date, a floating one as the date-only
    // value of its day; none without such a date.
    std::optional<CalendarDate> visibilityStartDate() const;
    std::optional<CalendarDate> visibilityEndDate() const;

private:
    qint64 eventType() const;
    std::optional<CalendarDate> dateForKey(const char *key) const;
    std::optional<CalendarDate> visibilityDate(const std::optional<CalendarDate> &date) const;

    const CommonDataMO *m_item;
};
