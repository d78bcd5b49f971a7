#include "ical/ICalCalendarWriter.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QTimeZone>
#include <algorithm>
#include <cstring>

#include "ical/ICalProperties.h"
#include "ical/ICalWriteOptions.h"
#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Format.h"
#include "model/foundation/WallClock.h"
#include "time/VTimezoneGenerator.h"

namespace {

constexpr char kCalendarEnd[] = "END:VCALENDAR\r\n";
// Room left before a calendar's items for the header and zones written
// after them: enough for the zones of most calendars.
constexpr qsizetype kCalendarHeaderRoom = 64 * 1024;

bool isDetached(const CommonDataMO *event) {
    return event->entityName() == QLatin1String("DetachedEvent");
}

QList<CommonDataMO *> detachedEventsOf(const CommonDataMO *event) {
    QList<CommonDataMO *> list;
    if (isDetached(event))
        return list;
    for (ManagedObject *object : event->objectsForKey(QStringLiteral("detachedEvents"))) {
        if (auto *detached = ModelObject::as<CommonDataMO>(object))
            list << detached;
    }
    return list;
}

// The year the zone's first transition falls in at or after `when`.
bool beforeFirstTransitionOfYear(const QTimeZone &zone, const QDateTime &when) {
    const QDateTime yearStart(QDate(when.date().year(), 1, 1), QTime(0, 0), zone);
    const QTimeZone::OffsetData next = zone.nextTransition(yearStart);
    return next.atUtc.isValid() && next.atUtc.date().year() == when.date().year() &&
           when < next.atUtc;
}

// The zones the zoned dates of items use (not UTC), each with the earliest
// moment a date of it names, in the order the items, taken in their
// positions, first use them. The first year of a zone only grows with the
// moment (a later moment never falls in an earlier year, nor before a
// transition an earlier one is past), so the earliest one decides it: the
// zone's rules are asked once per zone, not per date.
class ZonesInUse {
public:
    // The stored dates of the item at `position` among the items; items
    // may come in any order of positions.
    void add(const ICalStoredDates &dates, qsizetype position) {
        if (dates.allDayOrFloating)
            return;
        const std::optional<CalendarDate> *const byKey[] = {&dates.start, &dates.end, &dates.due};
        for (qsizetype key = 0; key < qsizetype(std::size(byKey)); ++key) {
            const std::optional<CalendarDate> &date = *byKey[key];
            if (!date || date->isUniversal())
                continue;
            const qsizetype use = position * qsizetype(std::size(byKey)) + key;
            const QTimeZone &zone = date->timeZone();
            const QByteArray id = zone.id();
            const auto found = m_indexOfZone.constFind(id);
            if (found == m_indexOfZone.constEnd()) {
                m_indexOfZone.insert(id, m_zones.size());
                m_zones.append({zone, date->date(), use});
            } else {
                UsedZone &used = m_zones[*found];
                used.earliest = std::min(used.earliest, date->date());
                used.firstUse = std::min(used.firstUse, use);
            }
        }
    }

    // One VTIMEZONE per zone, from the earliest date's year (one earlier
    // when that date comes before the year's first transition) to this year.
    void addTo(icalcomponent *calendar, bool historicallyAccurate) {
        std::sort(m_zones.begin(), m_zones.end(),
                  [](const UsedZone &a, const UsedZone &b) { return a.firstUse < b.firstUse; });
        int firstYear = Clock::shared().now().toDateTime().date().year();
        const int lastYear = firstYear;
        for (const UsedZone &used : std::as_const(m_zones)) {
            // A date of a later year than the first so far cannot start the range earlier.
            const int year = WallClock::of(used.earliest, used.zone).year;
            if (year > firstYear)
                continue;
            const QDateTime when = used.earliest.toDateTime().toTimeZone(used.zone);
            firstYear =
                std::min(firstYear, year - (beforeFirstTransitionOfYear(used.zone, when) ? 1 : 0));
        }
        for (const UsedZone &used : std::as_const(m_zones))
            icalcomponent_add_component(calendar,
                                        VTimezoneGenerator::newVTimezoneForRangeOfYears(
                                            used.zone, firstYear, lastYear, historicallyAccurate));
    }

private:
    struct UsedZone {
        QTimeZone zone;
        Date earliest;
        qsizetype firstUse;
    };
    QList<UsedZone> m_zones;
    QHash<QByteArray, qsizetype> m_indexOfZone;
};

}  // namespace

namespace ICalCalendarWriter {

icalcomponent *calendarHeader(const CommonDataMO *container, ICalMethod method) {
    icalcomponent *calendar = icalcomponent_new_vcalendar();
    icalcomponent_add_property(calendar, icalproperty_new_version("2.0"));
    const QString language = QLocale().name().section(QLatin1Char('_'), 0, 0).toUpper();
    const QString executable = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    const QString productID =
        format("-//%@//%@ %@//%@", QStringLiteral("Tolvern LLC"),
               executable.isEmpty() ? QCoreApplication::applicationName() : executable,
               QCoreApplication::applicationVersion(), language);
    icalcomponent_add_property(calendar, icalproperty_new_prodid(productID.toUtf8().constData()));
    icalcomponent_add_property(calendar, icalproperty_new_calscale("GREGORIAN"));
    if (method != ICalMethod::None)
        icalcomponent_add_property(
            calendar, icalproperty_new_from_string(
                          ("METHOD:" + ICalMethods::name(method)).toUtf8().constData()));
    if (!container || !container->isContainer())
        return calendar;
    ICalProperties::addXProperty(calendar, "X-WR-TIMEZONE",
                                 QString::fromUtf8(QTimeZone::systemTimeZoneId()));
    ICalProperties::addXProperty(calendar, "X-WR-CALNAME",
                                 container->effectiveTitle().value_or(QString()));
    ICalProperties::addXProperty(
        calendar, "X-WR-CALDESC",
        container->stringValueForKey(QStringLiteral("content")).value_or(QString()));
    ICalProperties::addXProperty(calendar, "X-WR-RELCALID", container->uid());
    if (const std::optional<RGBColor> color =
            container->colorValueForKey(QStringLiteral("localColor"))) {
        const int value = colorValueFromColor(*color);
        ICalProperties::addXProperty(calendar, "X-APPLE-CALENDAR-COLOR",
                                     QString::asprintf("#%.2X%.2X%.2X", (value >> 16) & 0xff,
                                                       (value >> 8) & 0xff, value & 0xff));
    }
    if (container->boolValueForKey(QStringLiteral("holidayCalendar")))
        ICalProperties::addXProperty(calendar, "X-TOLVERN-CALENDAR-TYPE",
                                     QStringLiteral("HOLIDAY"));
    ICalProperties::addXProperty(
        calendar, "X-TOLVERN-DEFAULT-ICON",
        container->valueForKey(QStringLiteral("defaultIconName")).toString());
    return calendar;
}

void addTimeZones(icalcomponent *calendar, const QList<CommonDataMO *> &events,
                  bool historicallyAccurate) {
    ZonesInUse zones;
    for (qsizetype position = 0; position < events.size(); ++position)
        zones.add(ICalEventWriter::storedDates(events[position]), position);
    zones.addTo(calendar, historicallyAccurate);
}

QByteArray wholeObject(const ICalEventRequest &request, const QHash<QString, qint64> &sequences) {
    icalcomponent *calendar = calendarHeader(nullptr, request.method);
    const QList<CommonDataMO *> detached = detachedEventsOf(request.event);
    if (!(request.options & ICalWriteOptions::NoTimeZones))
        addTimeZones(calendar, QList<CommonDataMO *>{request.event} + detached, true);
    if ((request.options & ICalWriteOptions::ConfidentialAccess) &&
        request.event->integerValueForKey(QStringLiteral("classification")) != 0)
        ICalProperties::addXProperty(calendar, "X-CALENDARSERVER-ACCESS",
                                     QStringLiteral("CONFIDENTIAL"));
    // A placeholder for a repeating item nobody has sent stays here: only its
    // detached instances are written.
    const bool placeholder = !detached.isEmpty() &&
                             request.event->entityName() == QLatin1String("Event") &&
                             request.event->boolValueForKey(QStringLiteral("localOrphaned"));
    QByteArray text = takeOpenText(calendar);
    ICalEventRequest each = request;
    each.sequences = &sequences;
    for (CommonDataMO *event :
         placeholder ? detached : QList<CommonDataMO *>{request.event} + detached) {
        each.event = event;
        ICalEventWriter::writeEvent(each, text);
        each.occurrence.reset();  // only the item itself is one occurrence
    }
    return text + kCalendarEnd;
}

QByteArray takeText(icalcomponent *component) {
    char *text = icalcomponent_as_ical_string_r(component);
    const QByteArray bytes(text);
    icalmemory_free_buffer(text);
    icalcomponent_free(component);
    return bytes;
}

QByteArray takeOpenText(icalcomponent *calendar) {
    QByteArray text = takeText(calendar);
    text.chop(qsizetype(sizeof kCalendarEnd) - 1);
    return text;
}

QByteArray calendarExport(CommonDataMO *calendar) {
    icalcomponent *vcalendar = calendarHeader(calendar, ICalMethod::None);
    // Every item's record and extra records are read in a few queries for
    // all of them, not one per item.
    const QList<ManagedObject *> objects = Queries::objectsInContainer(
        calendar, {QStringLiteral("objectInfo"), QString::fromLatin1(Schema::kExtrasKey)});
    // Detached instances follow their original; an orphan stands alone. They
    // are all among the calendar's items: grouped here rather than asked of
    // each item, which would read the store once per item.
    struct Placed {
        CommonDataMO *event;
        qsizetype position;
    };
    QList<CommonDataMO *> events;
    events.reserve(objects.size());
    QHash<ManagedObject *, QList<Placed>> detachedOf;
    for (ManagedObject *object : objects) {
        auto *event = ModelObject::as<CommonDataMO>(object);
        if (!event)
            continue;
        if (isDetached(event)) {
            if (ManagedObject *original = event->objectForKey(QStringLiteral("originalEvent")))
                detachedOf[original].append({event, events.size()});
        }
        events << event;
    }
    // The zones are gathered from each item as it is written, while its
    // values are at hand, rather than in a pass of their own over every item;
    // they go before the items' text.
    ZonesInUse zones;
    // The items are written after room for the header, which goes in front
    // of them once their zones are known, without copying the items' text.
    QByteArray text(kCalendarHeaderRoom, '\0');
    ICalEventRequest request;
    ICalStoredDates dates;
    const auto write = [&](const Placed &each) {
        request.event = each.event;
        ICalEventWriter::writeEvent(request, text, &dates);
        zones.add(dates, each.position);
    };
    for (qsizetype position = 0; position < events.size(); ++position) {
        CommonDataMO *event = events[position];
        if (isDetached(event) && event->objectForKey(QStringLiteral("originalEvent")))
            continue;
        write({event, position});
        for (const Placed &detached : detachedOf.take(event))
            write(detached);
    }
    // Instances of an original outside the calendar are not written, but
    // their zones are.
    for (const QList<Placed> &unwritten : std::as_const(detachedOf)) {
        for (const Placed &each : unwritten)
            zones.add(ICalEventWriter::storedDates(each.event), each.position);
    }
    zones.addTo(vcalendar, true);
    const QByteArray header = takeOpenText(vcalendar);
    if (header.size() <= kCalendarHeaderRoom) {
        const qsizetype start = kCalendarHeaderRoom - header.size();
        std::memcpy(text.data() + start, header.constData(), std::size_t(header.size()));
        text.remove(0, start);  // moves where the text begins, not the text
    } else {
        text.replace(0, kCalendarHeaderRoom, header);
    }
    text += kCalendarEnd;
    return text;
}

}  // namespace ICalCalendarWriter
