#include "time/recurrence/OccurrenceExpansion.h"

#include <algorithm>
#include <numeric>

#include "model/CommonDataMO.h"
#include "model/ItemDates.h"
#include "model/foundation/WallClock.h"
#include "model/store/ManagedObjectContext.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/ZoneOffsets.h"

namespace {

constexpr double kDay = 86400.0;
const QString kDetachedEntity = QStringLiteral("DetachedEvent");

qint64 dayNumber(Date date) {
    return qint64(std::floor(date.secondsSinceReference() / kDay));
}

// The starts in [from, to) from the compiled days, when they cover it.
std::optional<std::vector<Date>> compiledStarts(ExtraDataMO *firstRule, Date seriesStart, Date from,
                                                Date to) {
    const std::optional<std::vector<std::uint32_t>> offsets =
        ItemRecurrence::compiledDaysOf(firstRule);
    if (!offsets || offsets->empty())
        return std::nullopt;
    if (CompiledDays::isOpenEnded(*offsets) &&
        to.secondsSince(seriesStart) > double(offsets->back()))
        return std::nullopt;
    std::vector<Date> starts;
    const double fromOffset = std::max(0.0, from.secondsSince(seriesStart));
    if (fromOffset >= double(CompiledDays::kOffsetLimit))
        return starts;
    std::size_t index =
        compiledOffsetIndex(offsets->data(), offsets->size(), std::uint32_t(fromOffset));
    index = index > 0 ? index - 1 : 0;  // the search may land one past
    for (; index < offsets->size(); ++index) {
        const Date start = seriesStart.addingSeconds((*offsets)[index]);
        if (start >= to)
            break;
        if (start >= from)
            starts.push_back(start);
    }
    return starts;
}

bool sameOccurrence(const CalendarDate &original, Date start, bool allDay) {
    return original.date() == start || (allDay && dayNumber(original.date()) == dayNumber(start));
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

QList<Occurrence> OccurrenceExpansion::occurrencesOfItem(CommonDataMO *item, Date from,
                                                         Date to) const {
    const ItemDates dates(item);
    const std::optional<CalendarDate> start = dates.startDate();
    if (!start)
        return {};
    Occurrence base;
    base.item = item;
    base.start = *start;
    base.end = dates.endDate();
    base.allDay = item->boolValueForKey(QStringLiteral("allDay"));
    base.floating = item->boolValueForKey(QStringLiteral("floatingEvent"));
    const bool wallClock = base.allDay || base.floating;
    const double duration =
        base.end ? std::max(0.0, base.end->date().secondsSince(start->date())) : 0;
    const auto place = [&](Occurrence &occurrence) {
        occurrence.viewStart = viewInstant(occurrence.start, wallClock);
        occurrence.viewEnd =
            occurrence.end ? std::max(occurrence.viewStart, viewInstant(*occurrence.end, wallClock))
                           : occurrence.viewStart;
    };

    QList<Occurrence> found;
    const ItemRecurrence recurrence(item);
    const QList<ExtraDataMO *> rules = recurrence.ruleRecords();
    if (item->entityName() == kDetachedEntity || rules.isEmpty()) {
        if (item->entityName() == kDetachedEntity) {
            base.detached = true;
            base.recurrenceId =
                item->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
        }
        place(base);
        if (overlaps(base, from, to))
            found.append(base);
        return found;
    }

    // Wide enough for wall-clock times read in any zone and for occurrences
    // that began before the range and last into it.
    const Date walkFrom = from.addingSeconds(-duration - kDay);
    const Date walkTo = to.addingSeconds(kDay);
    std::optional<std::vector<Date>> starts =
        compiledStarts(rules.first(), start->date(), walkFrom, walkTo);
    if (!starts)
        starts = recurrence.series().occurrences(walkFrom, walkTo, std::size_t(-1));

    QList<CalendarDate> replaced;
    for (CommonDataMO *instance : recurrence.detachedInstances()) {
        if (std::optional<CalendarDate> original =
                instance->calendarDateValueForKey(QStringLiteral("originalTimeAndZone")))
            replaced.append(*original);
    }
    for (Date date : *starts) {
        if (std::any_of(replaced.begin(), replaced.end(), [&](const CalendarDate &original) {
                return sameOccurrence(original, date, base.allDay);
            }))
            continue;
        Occurrence occurrence = base;
        occurrence.start = CalendarDate(date, start->timeZone());
        if (base.end)
            occurrence.end = CalendarDate(date.addingSeconds(duration), base.end->timeZone());
        occurrence.recurrenceId = occurrence.start;
        place(occurrence);
        if (overlaps(occurrence, from, to))
            found.append(occurrence);
    }
    return found;
}

QList<Occurrence> OccurrenceExpansion::occurrences(Date from, Date to) const {
    FetchRequest request(QStringLiteral("CommonChild"));
    request.setPredicate(
        Predicate::fromFormat(QStringLiteral("localFirstDay <= %@ AND localLastDay >= %@"),
                              {dayNumber(to) + 1, dayNumber(from) - 1}));
    request.setRelationshipKeyPathsForPrefetching(
        {QStringLiteral("extras"), QStringLiteral("detachedEvents")});
    // Titles are read once per item, not once per comparison, and the sort
    // moves small keys rather than the occurrences themselves.
    struct Named {
        QString title;
        qint64 key;
    };
    struct SortKey {
        Date viewStart;
        bool allDay;
        std::size_t name;
        std::size_t occurrence;
    };
    std::vector<Named> names;
    std::vector<Occurrence> found;
    std::vector<SortKey> order;
    for (ManagedObject *object : m_context->executeFetchRequest(request)) {
        auto *item = ModelObject::as<CommonDataMO>(object);
        if (!item || item->isDeleted() ||
            (m_calendar && item->parentContainerDirect() != m_calendar))
            continue;
        QList<Occurrence> ofItem = occurrencesOfItem(item, from, to);
        if (ofItem.isEmpty())
            continue;
        names.push_back({item->effectiveTitle().value_or(QString()), item->objectID().primaryKey});
        for (Occurrence &occurrence : ofItem) {
            order.push_back(
                {occurrence.viewStart, occurrence.allDay, names.size() - 1, found.size()});
            found.push_back(std::move(occurrence));
        }
    }
    // Items ranked by title once; occurrences then compare ranks.
    std::vector<std::size_t> byTitle(names.size());
    std::iota(byTitle.begin(), byTitle.end(), std::size_t(0));
    std::sort(byTitle.begin(), byTitle.end(), [&](std::size_t a, std::size_t b) {
        return std::tie(names[a].title, names[a].key) < std::tie(names[b].title, names[b].key);
    });
    std::vector<std::size_t> rank(names.size());
    for (std::size_t i = 0; i < byTitle.size(); ++i)
        rank[byTitle[i]] = i;
    std::sort(order.begin(), order.end(), [&](const SortKey &a, const SortKey &b) {
        if (a.viewStart != b.viewStart)
            return a.viewStart < b.viewStart;
        if (a.allDay != b.allDay)
            return a.allDay;
        return rank[a.name] < rank[b.name];
    });
    QList<Occurrence> sorted;
    sorted.reserve(qsizetype(order.size()));
    for (const SortKey &key : order)
        sorted.append(std::move(found[key.occurrence]));
    return sorted;
}
