#pragma once

#include <QList>
#include <cstdint>
#include <optional>
#include <vector>

#include "model/foundation/CalendarDate.h"
#include "time/recurrence/RecurrenceRule.h"
#include "time/recurrence/RecurrenceSeries.h"

class CommonDataMO;
class ExtraDataMO;
class RecurrenceRecord;

// The repetition of an item (an event, to-do or other child of a
// calendar): its rule records, exception dates, detached instances, the
// cached compiled days and the days it shows on (`localFirstDay`,
// `localLastDay`: whole days since 2001-01-01 00:00 UTC, truncated toward
// zero). Every operation that changes rules, exception or extra dates
// flushes the compiled days and recomputes the days. Main thread only.
class ItemRecurrence {
public:
    static constexpr qint64 kFirstDayNone = -2147483647LL - 1;  // on no day
    static constexpr qint64 kLastDayOpen = 2147483647;          // visible from its start on
    // An end and a rule without UNTIL, days not compiled yet.
    static constexpr qint64 kLastDayUncompiled = 2147483646;
    static constexpr qint64 kCancelledStatus = 7;

    explicit ItemRecurrence(CommonDataMO *item) : m_item(item) {}

    // The item's "RecurrenceRule" records, in the order they were added.
    QList<ExtraDataMO *> ruleRecords() const;
    bool isRecurring() const { return !ruleRecords().isEmpty(); }
    // The item's repetition as a plain value (see RecurrenceSeries); a
    // regenerating to-do that was completed starts again at its completion.
    RecurrenceSeries series() const;

    // Some rule record equals the rule (with the item's all-day flag).
    bool hasMatchingRecurrenceRule(const RecurrenceRule &rule) const;
    // The item's record for the rule, found in this order: one equal to it;
    // with `relaxedMatch`, one whose rule gives the same occurrences from the
    // item's start (the same rule written differently: a redundant BYDAY, a
    // week start that changes nothing, a COUNT that ends where an UNTIL
    // does); with `partialMatch`, one that differs only in its end (COUNT and
    // UNTIL), such as a series that was cut short. A record found by a
    // relaxed or partial match takes the rule's fields, keeping its uid and
    // its exception and extra dates. Otherwise a new record. The compiled
    // days are flushed and the days recomputed when anything changed.
    static ExtraDataMO *attachRecurrence(const RecurrenceRule &rule, CommonDataMO *event,
                                         bool relaxedMatch, bool partialMatch);

    // The exception dates of the first rule record (all records hold the
    // same list).
    QList<CalendarDate> exceptionDates() const;
    // Gives every rule record the distinct dates, ascending; true (and the
    // compiled days flushed) when any record's list changed.
    bool wasChangedBySettingAllExceptionDates(const QList<CalendarDate> &dates);
    // Adds the date to every rule record and deletes (as tombstones) the
    // detached instances whose original time falls on the same day, read in
    // the date's own zone.
    void addExceptionDate(const CalendarDate &date);
    // Gives every rule record the extra dates (RDATE), as above.
    bool wasChangedBySettingAllCustomDates(const QList<CalendarDate> &dates);

    // The item's detached instances (data objects), live ones only.
    QList<CommonDataMO *> detachedInstances() const;
    // A detached instance was added to or removed from the item.
    void detachedInstancesChanged();

    // The cached offsets of the first rule record; none when not computed.
    std::optional<std::vector<std::uint32_t>> compiledDays() const;
    // The cached offsets of one rule record; none when not computed.
    static std::optional<std::vector<std::uint32_t>> compiledDaysOf(ExtraDataMO *record);
    // The offsets of packed days; none when empty.
    static std::optional<std::vector<std::uint32_t>> unpackedDays(const QByteArray &packed);
    // calcCompiledDays() for an item that is not a to-do and has a rule
    // record whose cache is empty.
    void calcCompiledDaysIfNecessary();
    // Walks the series from its start (see CompiledDays::compile) and stores
    // the offsets in the first rule record, then the days. A series without
    // any occurrence is degenerate: logged, the item becomes a single
    // cancelled occurrence (status 7) and loses its rule records.
    void calcCompiledDays();
    // Stores offsets computed elsewhere (the background precompiler), as
    // calcCompiledDays() would.
    void storeCompiledDays(const std::vector<std::uint32_t> &offsets);
    void flushCompiledDays();
    // Recomputes `localFirstDay` and `localLastDay` from the visible dates,
    // the reminders and the series; with `flush`, the compiled days are
    // flushed first and not recomputed (the last day is then bounded by the
    // rules' UNTIL, or kLastDayUncompiled).
    void calcFirstAndLastDay(bool flush);

    // Whole days since 2001-01-01 00:00 UTC, truncated toward zero, held to
    // 32 bits.
    static qint64 dayOf(double secondsSinceReference);

    // Keeps every item's days right whenever its dates change (installs a
    // CommonDataMO dates observer). Called at start-up.
    static void installDaysMaintenance();

    // While one is alive on the thread, an item whose rules, exception or
    // extra dates change, or (with the days maintained) its own dates, has
    // its compiled days flushed and its days recomputed once, when the
    // outermost batch ends, instead of after each change: for a reader that
    // sets an item's dates, its rules and then their dates.
    // Items deleted meanwhile are skipped; a batch left by an exception
    // recomputes nothing, and a failure while recomputing is thrown.
    class DaysBatch {
    public:
        DaysBatch();
        ~DaysBatch() noexcept(false);
        DaysBatch(const DaysBatch &) = delete;
        DaysBatch &operator=(const DaysBatch &) = delete;

    private:
        friend class ItemRecurrence;
        bool m_outermost;
        int m_exceptionsAtStart;
        QList<CommonDataMO *> m_items;
    };

private:
    using DatesSetter = bool (RecurrenceRecord::*)(const QList<CalendarDate> &dates);
    // Gives every rule record the dates; true (and the days recomputed)
    // when any record changed.
    bool setOnEveryRecord(DatesSetter setter, const QList<CalendarDate> &dates);
    // Flushes the compiled days and recomputes the days: now, or when the
    // outermost DaysBatch ends.
    void recomputeDays();

    CommonDataMO *m_item;
};
