#pragma once

#include <QByteArray>
#include <QList>

#include "model/foundation/CalendarDate.h"
#include "time/recurrence/RecurrenceRule.h"

class ExtraDataMO;

// A "RecurrenceRule" record of an item: its rule stored field by field
// under the rule's names (integers as integers, `until` as a plain date, the
// lists archived, an empty list as no value), its exception and extra dates
// and the cache of compiled days. Main thread only.
class RecurrenceRecord {
public:
    explicit RecurrenceRecord(ExtraDataMO *record) : m_record(record) {}

    ExtraDataMO *record() const { return m_record; }

    RecurrenceRule recurrenceRule() const;
    // The rule's `until` alone.
    std::optional<Date> until() const;
    // Writes only the fields that differ; true when any did.
    bool setRecurrenceRule(const RecurrenceRule &rule);
    // Field by field; `until` compared as the day it falls on (UTC) for an
    // all-day item, else as the instant (two missing values are equal).
    bool equalsRecurrenceRule(const RecurrenceRule &rule, bool allDay) const;

    QList<CalendarDate> exceptionDates() const;
    QList<CalendarDate> customDates() const;
    // Stores the distinct dates, ascending; true when the list changed.
    bool setExceptionDates(const QList<CalendarDate> &dates);
    bool setCustomDates(const QList<CalendarDate> &dates);

    // The packed offsets; empty when not computed.
    QByteArray compiledDays() const;
    // The same from the value stored under "localCompiledDays".
    static QByteArray compiledDaysOfStored(const QVariant &stored);
    void setCompiledDays(const QByteArray &packed);

private:
    bool setDates(const QList<CalendarDate> &dates, const QString &key);

    ExtraDataMO *m_record;
};
