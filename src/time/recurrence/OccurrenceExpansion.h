#pragma once

#include <QList>
#include <QTimeZone>
#include <vector>

#include "time/recurrence/Occurrence.h"

class CommonDataMO;
struct ExpansionItem;
class ManagedObjectContext;

// The occurrences of the items of a store that overlap a range of time, in
// start order: what the agenda and the calendar views show.
//
// - Items are found through their `localFirstDay` / `localLastDay` (the
//   range index), so the cost follows the number of items near the range,
//   not the size of the store. An item whose days were never computed is
//   not found. The candidates are read as stored values (unsaved changes of
//   the context win over the rows); objects are made only for the items
//   that have occurrences in the range.
// - A repeating item gives one occurrence per start of its series (see
//   RecurrenceSeries: exception dates remove theirs); when its compiled
//   days cover the range they are used instead of walking the rules.
// - A detached instance replaces the occurrence whose start equals its
//   `originalTimeAndZone` (for all-day items: on the same date), wherever
//   the instance was moved to; it is shown where it is now, if that
//   overlaps the range.
// - An occurrence overlaps [from, to) when it starts before `to` and ends
//   after `from`; one without duration when it starts in the range.
//   Floating and all-day times are read on the wall clock of the viewer's
//   zone.
// - Order: view start, then all-day before timed, then title, then the
//   order in which the items were made.
// Undated items have no occurrence. Main thread only; nothing is changed.
class OccurrenceExpansion {
public:
    OccurrenceExpansion(ManagedObjectContext *context, QTimeZone viewerZone);

    // Only the items of this calendar (its data object); nullptr: all.
    void setCalendar(const CommonDataMO *calendar) { m_calendar = calendar; }

    QList<Occurrence> occurrences(Date from, Date to) const;
    // The occurrences of one item (a repeating item without the ones its
    // detached instances replace; those are items of their own).
    QList<Occurrence> occurrencesOfItem(CommonDataMO *item, Date from, Date to) const;

private:
    // The occurrences of an item overlapping [from, to), without `item`:
    // its one occurrence (`starts` null), or one per start that no detached
    // instance replaces (`replaced`: their original starts).
    QList<Occurrence> placed(const ExpansionItem &item, const std::vector<Date> *starts,
                             const QList<CalendarDate> &replaced, Date from, Date to) const;
    Date viewInstant(const CalendarDate &date, bool wallClock) const;
    bool overlaps(const Occurrence &occurrence, Date from, Date to) const;

    ManagedObjectContext *m_context;
    QTimeZone m_viewerZone;
    const CommonDataMO *m_calendar = nullptr;
};
