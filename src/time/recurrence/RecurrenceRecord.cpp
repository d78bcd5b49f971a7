#include "time/recurrence/RecurrenceRecord.h"

#include <algorithm>

#include "model/ExtraDataMO.h"
#include "time/DateUtilities.h"

namespace {

using IntegerField = qint64 RecurrenceRule::*;
using ListField = QList<int> RecurrenceRule::*;

// The keys are made strings once: every rule read or written asks for all
// of them.
struct IntegerKey {
    QString key;
    IntegerField field;
};
struct ListKey {
    QString key;
    ListField field;
};

const IntegerKey kIntegers[] = {
    {QStringLiteral("count"), &RecurrenceRule::count},
    {QStringLiteral("frequency"), &RecurrenceRule::frequency},
    {QStringLiteral("interval"), &RecurrenceRule::interval},
    {QStringLiteral("weekStartDay"), &RecurrenceRule::weekStartDay},
    {QStringLiteral("regenerate"), &RecurrenceRule::regenerate},
};
const ListKey kLists[] = {
    {QStringLiteral("byDayDays"), &RecurrenceRule::byDayDays},
    {QStringLiteral("byDayFreq"), &RecurrenceRule::byDayFreq},
    {QStringLiteral("byMonth"), &RecurrenceRule::byMonth},
    {QStringLiteral("byMonthDay"), &RecurrenceRule::byMonthDay},
    {QStringLiteral("bySetPos"), &RecurrenceRule::bySetPos},
    {QStringLiteral("byWeekNumber"), &RecurrenceRule::byWeekNumber},
    {QStringLiteral("byYearDay"), &RecurrenceRule::byYearDay},
};

const QString kUntil = QStringLiteral("until");
const QString kExceptionDates = QStringLiteral("exceptionDates");
const QString kCustomDates = QStringLiteral("customDates");
const QString kCompiledDays = QStringLiteral("localCompiledDays");

QList<int> readList(const QVariant &value) {
    QList<int> list;
    for (const QVariant &entry : value.toList())
        list.append(entry.toInt());
    return list;
}

QVariantList listValue(const QList<int> &list) {
    QVariantList values;
    for (int entry : list)
        values.append(qint64(entry));
    return values;
}

std::optional<Date> normalizedUntil(const std::optional<Date> &until, bool allDay) {
    if (!until)
        return std::nullopt;
    return DateUtilities::normalizedDateWithAllDay(*until, allDay).date();
}

}  // namespace

RecurrenceRule RecurrenceRecord::recurrenceRule() const {
    RecurrenceRule rule;
    for (const IntegerKey &entry : kIntegers)
        rule.*entry.field = m_record->integerValueForKey(entry.key);
    rule.until = until();
    for (const ListKey &entry : kLists)
        rule.*entry.field = readList(m_record->unarchivedValueForKey(entry.key));
    return rule;
}

std::optional<Date> RecurrenceRecord::until() const {
    return m_record->dateValueForKey(kUntil);
}

bool RecurrenceRecord::setRecurrenceRule(const RecurrenceRule &rule) {
    const RecurrenceRule stored = recurrenceRule();
    bool changed = false;
    for (const IntegerKey &entry : kIntegers) {
        if (stored.*entry.field != rule.*entry.field) {
            m_record->setIntegerValue(rule.*entry.field, entry.key);
            changed = true;
        }
    }
    if (stored.until != rule.until) {
        m_record->setDateValue(rule.until, kUntil);
        changed = true;
    }
    for (const ListKey &entry : kLists) {
        if (stored.*entry.field != rule.*entry.field) {
            m_record->setArchivedValue(listValue(rule.*entry.field), entry.key);
            changed = true;
        }
    }
    return changed;
}

bool RecurrenceRecord::equalsRecurrenceRule(const RecurrenceRule &rule, bool allDay) const {
    RecurrenceRule stored = recurrenceRule();
    RecurrenceRule other = rule;
    stored.until = normalizedUntil(stored.until, allDay);
    other.until = normalizedUntil(other.until, allDay);
    return stored == other;
}

QList<CalendarDate> RecurrenceRecord::exceptionDates() const {
    return m_record->calendarDateArrayValueForKey(kExceptionDates);
}

QList<CalendarDate> RecurrenceRecord::customDates() const {
    return m_record->calendarDateArrayValueForKey(kCustomDates);
}

bool RecurrenceRecord::setExceptionDates(const QList<CalendarDate> &dates) {
    return setDates(dates, kExceptionDates);
}

bool RecurrenceRecord::setCustomDates(const QList<CalendarDate> &dates) {
    return setDates(dates, kCustomDates);
}

bool RecurrenceRecord::setDates(const QList<CalendarDate> &dates, const QString &key) {
    QList<CalendarDate> sorted = dates;
    std::stable_sort(
        sorted.begin(), sorted.end(),
        [](const CalendarDate &a, const CalendarDate &b) { return a.date() < b.date(); });
    sorted.erase(std::unique(sorted.begin(), sorted.end(),
                             [](const CalendarDate &a, const CalendarDate &b) {
                                 return a.date() == b.date();
                             }),
                 sorted.end());
    if (sorted == m_record->calendarDateArrayValueForKey(key))
        return false;
    m_record->setCalendarDateArrayValue(sorted, key);
    return true;
}

QByteArray RecurrenceRecord::compiledDays() const {
    return compiledDaysOfStored(m_record->valueForKey(kCompiledDays));
}

QByteArray RecurrenceRecord::compiledDaysOfStored(const QVariant &stored) {
    return ModelObject::unarchivedValue(stored).toByteArray();
}

void RecurrenceRecord::setCompiledDays(const QByteArray &packed) {
    if (packed != compiledDays())
        m_record->setArchivedValue(packed, kCompiledDays);
}
