#include "time/recurrence/ItemRecurrence.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemDates.h"
#include "model/ItemReminders.h"
#include "model/foundation/Log.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/RecurrenceRecord.h"

namespace {

const QString kRecurrences = QStringLiteral("recurrences");
const QString kRecurrenceRule = QStringLiteral("RecurrenceRule");
const QString kDetachedEvents = QStringLiteral("detachedEvents");
const QString kFirstDay = QStringLiteral("localFirstDay");
const QString kLastDay = QStringLiteral("localLastDay");

// How many occurrences a relaxed match compares.
constexpr std::size_t kRelaxedSample = CompiledDays::kMaxOccurrences;

std::vector<Date> occurrencesOfRule(RecurrenceSeries series, const RecurrenceRule &rule) {
    series.rules = {rule};
    series.exceptionDates.clear();
    series.customDates.clear();
    return series.occurrences(series.start.date(), RecurrenceSeries::endOfTime(), kRelaxedSample);
}

// The rules differ in COUNT and UNTIL at most.
bool differsOnlyInEnd(RecurrenceRule a, RecurrenceRule b) {
    a.count = b.count = 0;
    a.until = b.until = std::nullopt;
    return a == b;
}

// The outermost live ItemRecurrence::DaysBatch of the thread.
thread_local ItemRecurrence::DaysBatch *t_daysBatch = nullptr;

void setIfChanged(CommonDataMO *item, const QString &key, qint64 value) {
    if (item->valueForKey(key).isNull() || item->integerValueForKey(key) != value)
        item->setIntegerValue(value, key);
}

}  // namespace

qint64 ItemRecurrence::dayOf(double secondsSinceReference) {
    const double days = std::trunc(secondsSinceReference / 86400.0);
    return qint64(std::clamp(days, double(kFirstDayNone), double(kLastDayOpen)));
}

QList<ExtraDataMO *> ItemRecurrence::ruleRecords() const {
    return m_item->extrasForRelationship(kRecurrences);
}

RecurrenceSeries ItemRecurrence::series() const {
    const ItemDates dates(m_item);
    RecurrenceSeries series;
    if (std::optional<CalendarDate> start = dates.startDate())
        series.start = *start;
    series.allDay = m_item->boolValueForKey(QStringLiteral("allDay"));
    series.floating = m_item->boolValueForKey(QStringLiteral("floatingEvent"));
    bool first = true;
    for (ExtraDataMO *record : ruleRecords()) {
        const RecurrenceRecord rules(record);
        series.rules.append(rules.recurrenceRule());
        if (first)
            series.exceptionDates = rules.exceptionDates();
        series.customDates.append(rules.customDates());
        first = false;
    }
    const bool regenerates =
        std::any_of(series.rules.begin(), series.rules.end(),
                    [](const RecurrenceRule &rule) { return rule.regenerate != 0; });
    const std::optional<Date> completed = m_item->dateValueForKey(QStringLiteral("completionTime"));
    if (dates.isTask() && regenerates && completed)
        series.start = CalendarDate(*completed, series.start.timeZone());
    return series;
}

bool ItemRecurrence::hasMatchingRecurrenceRule(const RecurrenceRule &rule) const {
    const bool allDay = m_item->boolValueForKey(QStringLiteral("allDay"));
    const QList<ExtraDataMO *> records = ruleRecords();
    return std::any_of(records.begin(), records.end(), [&](ExtraDataMO *record) {
        return RecurrenceRecord(record).equalsRecurrenceRule(rule, allDay);
    });
}

ExtraDataMO *ItemRecurrence::attachRecurrence(const RecurrenceRule &rule, CommonDataMO *event,
                                              bool relaxedMatch, bool partialMatch) {
    ItemRecurrence recurrence(event);
    const bool allDay = event->boolValueForKey(QStringLiteral("allDay"));
    const QList<ExtraDataMO *> records = recurrence.ruleRecords();
    for (ExtraDataMO *record : records) {
        if (RecurrenceRecord(record).equalsRecurrenceRule(rule, allDay))
            return record;
    }
    ExtraDataMO *found = nullptr;
    if (relaxedMatch && !records.isEmpty()) {
        const RecurrenceSeries series = recurrence.series();
        const std::vector<Date> wanted = occurrencesOfRule(series, rule);
        for (ExtraDataMO *record : records) {
            if (occurrencesOfRule(series, RecurrenceRecord(record).recurrenceRule()) == wanted) {
                found = record;
                break;
            }
        }
    }
    for (qsizetype i = 0; partialMatch && !found && i < records.size(); ++i) {
        if (differsOnlyInEnd(RecurrenceRecord(records[i]).recurrenceRule(), rule))
            found = records[i];
    }
    if (!found) {
        found = ExtraDataMO::makeExtra(kRecurrenceRule, event);
        if (!records.isEmpty()) {
            RecurrenceRecord(found).setExceptionDates(recurrence.exceptionDates());
            RecurrenceRecord(found).setCustomDates(RecurrenceRecord(records.first()).customDates());
        }
    }
    if (RecurrenceRecord(found).setRecurrenceRule(rule) || found->isInserted())
        recurrence.recomputeDays();
    return found;
}

QList<CalendarDate> ItemRecurrence::exceptionDates() const {
    const QList<ExtraDataMO *> records = ruleRecords();
    return records.isEmpty() ? QList<CalendarDate>()
                             : RecurrenceRecord(records.first()).exceptionDates();
}

bool ItemRecurrence::wasChangedBySettingAllExceptionDates(const QList<CalendarDate> &dates) {
    return setOnEveryRecord(&RecurrenceRecord::setExceptionDates, dates);
}

bool ItemRecurrence::wasChangedBySettingAllCustomDates(const QList<CalendarDate> &dates) {
    return setOnEveryRecord(&RecurrenceRecord::setCustomDates, dates);
}

bool ItemRecurrence::setOnEveryRecord(DatesSetter setter, const QList<CalendarDate> &dates) {
    bool changed = false;
    for (ExtraDataMO *record : ruleRecords()) {
        RecurrenceRecord rules(record);
        changed = (rules.*setter)(dates) || changed;
    }
    if (changed)
        recomputeDays();
    return changed;
}

void ItemRecurrence::addExceptionDate(const CalendarDate &date) {
    for (ExtraDataMO *record : ruleRecords()) {
        RecurrenceRecord rules(record);
        rules.setExceptionDates(rules.exceptionDates() << date);
    }
    const WallClock day = date.wallClock();
    for (CommonDataMO *detached : detachedInstances()) {
        const std::optional<CalendarDate> original =
            detached->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
        if (!original)
            continue;
        const WallClock originalDay = WallClock::of(original->date(), date.effectiveZone());
        if (originalDay.dayNumber() == day.dayNumber())
            CommonDataMO::deleteObject(detached);
    }
    recomputeDays();
}

QList<CommonDataMO *> ItemRecurrence::detachedInstances() const {
    QList<CommonDataMO *> instances;
    if (m_item->entityName() != QLatin1String("Event"))
        return instances;
    for (ManagedObject *object : m_item->objectsForKey(kDetachedEvents)) {
        auto *instance = ModelObject::as<CommonDataMO>(object);
        if (instance && !instance->isDeleted())
            instances.append(instance);
    }
    return instances;
}

void ItemRecurrence::detachedInstancesChanged() {
    if (ItemDates(m_item).isTask())
        recomputeDays();
    else
        calcFirstAndLastDay(false);
}

std::optional<std::vector<std::uint32_t>> ItemRecurrence::compiledDays() const {
    const QList<ExtraDataMO *> records = ruleRecords();
    return records.isEmpty() ? std::nullopt : compiledDaysOf(records.first());
}

std::optional<std::vector<std::uint32_t>> ItemRecurrence::compiledDaysOf(ExtraDataMO *record) {
    return unpackedDays(RecurrenceRecord(record).compiledDays());
}

std::optional<std::vector<std::uint32_t>> ItemRecurrence::unpackedDays(const QByteArray &packed) {
    if (packed.isEmpty())
        return std::nullopt;
    return CompiledDays::unpack(packed);
}

void ItemRecurrence::calcCompiledDaysIfNecessary() {
    if (ItemDates(m_item).isTask())
        return;
    const QList<ExtraDataMO *> records = ruleRecords();
    if (std::any_of(records.begin(), records.end(), [](ExtraDataMO *record) {
            return RecurrenceRecord(record).compiledDays().isEmpty();
        }))
        calcCompiledDays();
}

void ItemRecurrence::calcCompiledDays() {
    if (!isRecurring())
        return;
    storeCompiledDays(CompiledDays::compile(series()));
}

void ItemRecurrence::storeCompiledDays(const std::vector<std::uint32_t> &offsets) {
    const QList<ExtraDataMO *> records = ruleRecords();
    if (records.isEmpty())
        return;
    if (offsets.empty()) {
        const std::optional<CalendarDate> start = ItemDates(m_item).startDate();
        logInfo("Converting degenerate event \"%@\" (%@) to canceled single occurrence on %@",
                m_item->effectiveTitle(), m_item->uid(),
                start ? std::optional<Date>(start->date()) : std::nullopt);
        m_item->setIntegerValue(kCancelledStatus, QStringLiteral("status"));
        for (ExtraDataMO *record : records)
            record->deleteExtra();
    } else {
        RecurrenceRecord(records.first()).setCompiledDays(CompiledDays::pack(offsets));
    }
    calcFirstAndLastDay(false);
}

void ItemRecurrence::flushCompiledDays() {
    for (ExtraDataMO *record : ruleRecords())
        RecurrenceRecord(record).setCompiledDays({});
}

void ItemRecurrence::recomputeDays() {
    if (!t_daysBatch) {
        calcFirstAndLastDay(true);
        return;
    }
    if (!t_daysBatch->m_items.contains(m_item))
        t_daysBatch->m_items.append(m_item);
}

ItemRecurrence::DaysBatch::DaysBatch()
    : m_outermost(!t_daysBatch), m_exceptionsAtStart(std::uncaught_exceptions()) {
    if (m_outermost)
        t_daysBatch = this;
}

ItemRecurrence::DaysBatch::~DaysBatch() noexcept(false) {
    if (!m_outermost)
        return;
    t_daysBatch = nullptr;
    // Left by an exception, the items are only partly changed anyway; a
    // failure now would end the program.
    if (std::uncaught_exceptions() > m_exceptionsAtStart)
        return;
    for (CommonDataMO *item : std::as_const(m_items)) {
        if (!item->isDeleted())
            ItemRecurrence(item).calcFirstAndLastDay(true);
    }
}

void ItemRecurrence::calcFirstAndLastDay(bool flush) {
    const ItemDates dates(m_item);
    const std::optional<CalendarDate> visibleStart = dates.visibilityStartDate();
    const double start = visibleStart ? visibleStart->date().secondsSinceReference() : 0;
    double before = 0;
    double after = 0;
    ItemReminders(m_item).getReminderVisibilityForStartDate(
        visibleStart ? std::optional<Date>(visibleStart->date()) : std::nullopt, &before, &after);
    const qint64 firstDay = visibleStart ? dayOf(start + before) : kFirstDayNone;

    const bool hasEnd = m_item->calendarDateValueForKey(QStringLiteral("endTimeAndZone")) ||
                        m_item->dateValueForKey(QStringLiteral("completionTime"));
    double end = visibleStart ? start + after : 0;
    if (const std::optional<CalendarDate> visibleEnd = dates.visibilityEndDate())
        end = std::max(end, visibleEnd->date().secondsSinceReference());
    const qint64 ownLastDay = hasEnd ? dayOf(end) : visibleStart ? kLastDayOpen : kFirstDayNone;

    const QList<ExtraDataMO *> records = ruleRecords();
    std::optional<std::vector<std::uint32_t>> offsets;
    if (flush) {
        if (!records.isEmpty())  // (most items have no rules to flush)
            flushCompiledDays();
    } else {
        offsets = compiledDays();
        if (!offsets && !records.isEmpty() && !dates.isTask()) {
            calcCompiledDays();  // stores the days itself
            return;
        }
    }

    qint64 lastDay = ownLastDay;
    if (!hasEnd) {
        if (visibleStart && offsets && offsets->size() <= std::size_t(detachedInstances().size()))
            lastDay = firstDay;
    } else if (!offsets && !records.isEmpty()) {
        std::optional<Date> latestUntil;
        bool openEnded = false;
        for (ExtraDataMO *record : records) {
            const std::optional<Date> until = RecurrenceRecord(record).until();
            openEnded = openEnded || !until;
            if (until && (!latestUntil || *until > *latestUntil))
                latestUntil = until;
        }
        lastDay = openEnded ? kLastDayUncompiled
                            : dayOf(latestUntil->secondsSinceReference() + (end - start));
    } else if (offsets && !offsets->empty()) {
        lastDay = CompiledDays::isOpenEnded(*offsets) ? kLastDayOpen : dayOf(end + offsets->back());
    }
    setIfChanged(m_item, kFirstDay, firstDay);
    setIfChanged(m_item, kLastDay, lastDay);
}

void ItemRecurrence::installDaysMaintenance() {
    CommonDataMO::setDatesObserver(
        [](CommonDataMO *item) { ItemRecurrence(item).recomputeDays(); });
}
