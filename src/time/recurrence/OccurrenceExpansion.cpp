#include "time/recurrence/OccurrenceExpansion.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/foundation/WallClock.h"
#include "model/store/ManagedObjectContext.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/ExpansionItem.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"
#include "time/recurrence/ZoneOffsets.h"

namespace {

constexpr double kDay = 86400.0;
constexpr int kOwnersPerFetch = 500;
const QString kRuleEntity = QStringLiteral("RecurrenceRule");

qint64 dayNumber(Date date) {
    return qint64(std::floor(date.secondsSinceReference() / kDay));
}

double durationOf(const ExpansionItem &item) {
    return item.end ? std::max(0.0, item.end->date().secondsSince(item.start->date())) : 0;
}

// The starts in [from, to) from the compiled days, when they cover it.
std::optional<std::vector<Date>> compiledStarts(const std::vector<std::uint32_t> &offsets,
                                                Date seriesStart, Date from, Date to) {
    if (offsets.empty())
        return std::nullopt;
    if (CompiledDays::isOpenEnded(offsets) && to.secondsSince(seriesStart) > double(offsets.back()))
        return std::nullopt;
    std::vector<Date> starts;
    const double fromOffset = std::max(0.0, from.secondsSince(seriesStart));
    if (fromOffset >= double(CompiledDays::kOffsetLimit))
        return starts;
    std::size_t index =
        compiledOffsetIndex(offsets.data(), offsets.size(), std::uint32_t(fromOffset));
    index = index > 0 ? index - 1 : 0;  // the search may land one past
    for (; index < offsets.size(); ++index) {
        const Date start = seriesStart.addingSeconds(offsets[index]);
        if (start >= to)
            break;
        if (start >= from)
            starts.push_back(start);
    }
    return starts;
}

// The starts of a repeating item that may give occurrences overlapping
// [from, to): from its compiled days when they cover the range, else by
// walking its series. Wide enough for wall-clock times read in any zone and
// for occurrences that began before the range and last into it.
std::vector<Date> startsNear(const ExpansionItem &item,
                             const std::optional<std::vector<std::uint32_t>> &offsets,
                             const std::function<RecurrenceSeries()> &series, Date from, Date to) {
    const Date walkFrom = from.addingSeconds(-durationOf(item) - kDay);
    const Date walkTo = to.addingSeconds(kDay);
    if (offsets) {
        if (std::optional<std::vector<Date>> starts =
                compiledStarts(*offsets, item.start->date(), walkFrom, walkTo))
            return *starts;
    }
    return series().occurrences(walkFrom, walkTo, std::size_t(-1));
}

bool sameOccurrence(const CalendarDate &original, Date start, bool allDay) {
    return original.date() == start || (allDay && dayNumber(original.date()) == dayNumber(start));
}

// The stored values of the objects of `entity` whose to-one `owner` is one
// of `owners` (the owner's id first, then `key`), a batch of owners per
// query.
QList<FetchedValues> valuesOwnedBy(ManagedObjectContext *context, const QString &entity,
                                   const QString &owner, const QList<ObjectID> &owners,
                                   const QString &key) {
    QList<FetchedValues> values;
    for (qsizetype first = 0; first < owners.size(); first += kOwnersPerFetch) {
        QVariantList batch;
        for (const ObjectID &id : owners.mid(first, kOwnersPerFetch))
            batch << QVariant::fromValue(id);
        FetchRequest request(entity);
        request.setPredicate(
            Predicate::fromFormat(QStringLiteral("%1 IN %@").arg(owner), {QVariant(batch)}));
        values += context->fetchValues(request, {owner, key});
    }
    return values;
}

// The occurrences with their items, by view start, then all-day before
// timed, then title, then the order in which the items were made. Titles
// are read once per item, not once per comparison, and the sort moves small
// keys rather than the occurrences themselves.
QList<Occurrence> inViewOrder(std::vector<Occurrence> &found,
                              const std::vector<std::size_t> &itemOf,
                              const QList<ManagedObject *> &items) {
    struct Named {
        QString title;
        qint64 key;
    };
    std::vector<Named> names;
    names.reserve(std::size_t(items.size()));
    for (ManagedObject *object : items) {
        const auto *item = ModelObject::as<CommonDataMO>(object);
        names.push_back(
            {item->effectiveTitle().value_or(QString()), object->objectID().primaryKey});
    }
    std::vector<std::size_t> byTitle(names.size());
    std::iota(byTitle.begin(), byTitle.end(), std::size_t(0));
    std::sort(byTitle.begin(), byTitle.end(), [&](std::size_t a, std::size_t b) {
        return std::tie(names[a].title, names[a].key) < std::tie(names[b].title, names[b].key);
    });
    std::vector<std::size_t> rank(names.size());
    for (std::size_t i = 0; i < byTitle.size(); ++i)
        rank[byTitle[i]] = i;
    std::vector<std::size_t> order(found.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        if (found[a].viewStart != found[b].viewStart)
            return found[a].viewStart < found[b].viewStart;
        if (found[a].allDay != found[b].allDay)
            return found[a].allDay;
        return rank[itemOf[a]] < rank[itemOf[b]];
    });
    QList<Occurrence> sorted;
    sorted.reserve(qsizetype(order.size()));
    for (std::size_t index : order) {
        sorted.append(std::move(found[index]));
        sorted.last().item = ModelObject::as<CommonDataMO>(items[qsizetype(itemOf[index])]);
    }
    return sorted;
}

}  // namespace

OccurrenceExpansion::OccurrenceExpansion(ManagedObjectContext *context, QTimeZone viewerZone)
    : m_context(context), m_viewerZone(std::move(viewerZone)) {}

Date OccurrenceExpansion::viewInstant(const CalendarDate &date, bool wallClock) const {
    if (!wallClock)
        return date.date();
    return ZoneOffsets::instantOf(WallClock::of(date.date(), QTimeZone::utc()), m_viewerZone);
}

bool OccurrenceExpansion::overlaps(const Occurrence &occurrence, Date from, Date to) const {
    if (occurrence.viewStart >= to)
        return false;
    if (occurrence.viewEnd > occurrence.viewStart)
        return occurrence.viewEnd > from;
    return occurrence.viewStart >= from;
}

QList<Occurrence> OccurrenceExpansion::placed(const ExpansionItem &item,
                                              const std::vector<Date> *starts,
                                              const QList<CalendarDate> &replaced, Date from,
                                              Date to) const {
    Occurrence base;
    base.start = *item.start;
    base.end = item.end;
    base.allDay = item.allDay;
    base.floating = item.floating;
    const bool wallClock = base.allDay || base.floating;
    const auto place = [&](Occurrence &occurrence) {
        occurrence.viewStart = viewInstant(occurrence.start, wallClock);
        occurrence.viewEnd =
            occurrence.end ? std::max(occurrence.viewStart, viewInstant(*occurrence.end, wallClock))
                           : occurrence.viewStart;
    };

    QList<Occurrence> found;
    if (!starts) {
        if (item.detached) {
            base.detached = true;
            base.recurrenceId = item.originalStart;
        }
        place(base);
        if (overlaps(base, from, to))
            found.append(base);
        return found;
    }
    const double duration = durationOf(item);
    for (Date date : *starts) {
        if (std::any_of(replaced.begin(), replaced.end(), [&](const CalendarDate &original) {
                return sameOccurrence(original, date, base.allDay);
            }))
            continue;
        Occurrence occurrence = base;
        occurrence.start = CalendarDate(date, item.start->timeZone());
        if (base.end)
            occurrence.end = CalendarDate(date.addingSeconds(duration), base.end->timeZone());
        occurrence.recurrenceId = occurrence.start;
        place(occurrence);
        if (overlaps(occurrence, from, to))
            found.append(occurrence);
    }
    return found;
}

QList<Occurrence> OccurrenceExpansion::occurrencesOfItem(CommonDataMO *item, Date from,
                                                         Date to) const {
    const ExpansionItem times = ExpansionItem::of(item);
    if (!times.start)
        return {};
    const ItemRecurrence recurrence(item);
    const QList<ExtraDataMO *> rules = recurrence.ruleRecords();
    QList<Occurrence> found;
    if (times.detached || rules.isEmpty()) {
        found = placed(times, nullptr, {}, from, to);
    } else {
        const std::vector<Date> starts = startsNear(
            times, ItemRecurrence::compiledDaysOf(rules.first()),
            [&] { return recurrence.series(); }, from, to);
        QList<CalendarDate> replaced;
        for (CommonDataMO *instance : recurrence.detachedInstances()) {
            if (std::optional<CalendarDate> original =
                    instance->calendarDateValueForKey(QStringLiteral("originalTimeAndZone")))
                replaced.append(*original);
        }
        found = placed(times, &starts, replaced, from, to);
    }
    for (Occurrence &occurrence : found)
        occurrence.item = item;
    return found;
}

QList<Occurrence> OccurrenceExpansion::occurrences(Date from, Date to) const {
    FetchRequest request(QStringLiteral("CommonChild"));
    request.setPredicate(
        Predicate::fromFormat(QStringLiteral("localFirstDay <= %@ AND localLastDay >= %@"),
                              {dayNumber(to) + 1, dayNumber(from) - 1}));
    std::vector<ExpansionItem> items;
    QList<ObjectID> undetached;
    for (const FetchedValues &row : m_context->fetchValues(request, ExpansionItem::storedKeys())) {
        ExpansionItem item = ExpansionItem::fromStored(row.id, row.values);
        if (!item.start || (m_calendar && !(item.calendar == m_calendar->objectID())))
            continue;
        if (!item.detached)
            undetached.append(item.id);
        items.push_back(std::move(item));
    }

    // The compiled days of each repeating item's first rule record (records
    // come in the order they were made).
    QHash<qint64, std::optional<std::vector<std::uint32_t>>> compiled;
    // Asked of all extra records: SQLite then finds them through their owner
    // rather than by walking every rule record of the store.
    for (const FetchedValues &rule :
         valuesOwnedBy(m_context, QStringLiteral("ExtraData"), QStringLiteral("parentObject"),
                       undetached, QStringLiteral("localCompiledDays"))) {
        if (rule.id.entity->name() != kRuleEntity)
            continue;
        const qint64 owner = rule.values[0].value<ObjectID>().primaryKey;
        if (!compiled.contains(owner))
            compiled.insert(owner, ItemRecurrence::unpackedDays(
                                       RecurrenceRecord::compiledDaysOfStored(rule.values[1])));
    }
    std::vector<std::optional<std::vector<Date>>> starts(items.size());
    QList<ObjectID> startingNear;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const auto days = compiled.constFind(items[i].id.primaryKey);
        if (items[i].detached || days == compiled.constEnd())
            continue;
        starts[i] = startsNear(
            items[i], *days,
            [&] {
                auto *item = ModelObject::as<CommonDataMO>(m_context->objectWithID(items[i].id));
                return ItemRecurrence(item).series();
            },
            from, to);
        if (!starts[i]->empty())
            startingNear.append(items[i].id);
    }
    // The occurrences the detached instances of those items replace.
    QHash<qint64, QList<CalendarDate>> replaced;
    for (const FetchedValues &instance :
         valuesOwnedBy(m_context, QStringLiteral("DetachedEvent"), QStringLiteral("originalEvent"),
                       startingNear, QStringLiteral("originalTimeAndZone"))) {
        if (std::optional<CalendarDate> original =
                ModelObject::calendarDateValue(instance.values[1]))
            replaced[instance.values[0].value<ObjectID>().primaryKey].append(*original);
    }

    std::vector<Occurrence> found;
    std::vector<std::size_t> shownOf;  // per occurrence: its item among `shown`
    QList<ObjectID> shown;
    for (std::size_t i = 0; i < items.size(); ++i) {
        QList<Occurrence> ofItem = placed(items[i], starts[i] ? &*starts[i] : nullptr,
                                          replaced.value(items[i].id.primaryKey), from, to);
        if (ofItem.isEmpty())
            continue;
        for (Occurrence &occurrence : ofItem) {
            shownOf.push_back(std::size_t(shown.size()));
            found.push_back(std::move(occurrence));
        }
        shown.append(items[i].id);
    }
    return inViewOrder(found, shownOf, m_context->objectsWithIDs(shown));
}
