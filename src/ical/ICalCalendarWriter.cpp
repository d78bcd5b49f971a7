#include "ical/ICalCalendarWriter.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QTimeZone>

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

const char *const kDateKeys[] = {"startTimeAndZone", "endTimeAndZone", "dueTimeAndZone"};
constexpr char kCalendarEnd[] = "END:VCALENDAR\r\n";

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
    // The zones in the order the items first use them, each with the
    // earliest moment a date of it names. The first year of a zone only
    // grows with the moment (a later moment never falls in an earlier year,
    // nor before a transition an earlier one is past), so the earliest one
    // decides it: the zone's rules are asked once per zone, not per date.
    struct UsedZone {
        QTimeZone zone;
        Date earliest;
    };
    QList<UsedZone> zones;
    QHash<QByteArray, qsizetype> indexOfZone;
    for (const CommonDataMO *event : events) {
        if (event->boolValueForKey(QStringLiteral("allDay")) ||
            event->boolValueForKey(QStringLiteral("floatingEvent")))
            continue;
        for (const char *key : kDateKeys) {
            const std::optional<CalendarDate> date =
                event->calendarDateValueForKey(QLatin1String(key));
            if (!date || date->isUniversal())
                continue;
            const QTimeZone &zone = date->timeZone();
            const QByteArray id = zone.id();
            const auto found = indexOfZone.constFind(id);
            if (found == indexOfZone.constEnd()) {
                indexOfZone.insert(id, zones.size());
                zones.append({zone, date->date()});
            } else {
                Date &earliest = zones[*found].earliest;
                earliest = std::min(earliest, date->date());
            }
        }
    }
    int firstYear = Clock::shared().now().toDateTime().date().year();
    const int lastYear = firstYear;
    for (const UsedZone &used : std::as_const(zones)) {
        // A date of a later year than the first so far cannot start the range earlier.
        const int year = WallClock::of(used.earliest, used.zone).year;
        if (year > firstYear)
            continue;
        const QDateTime when = used.earliest.toDateTime().toTimeZone(used.zone);
        firstYear =
            std::min(firstYear, year - (beforeFirstTransitionOfYear(used.zone, when) ? 1 : 0));
    }
    for (const UsedZone &used : std::as_const(zones))
        icalcomponent_add_component(calendar,
                                    VTimezoneGenerator::newVTimezoneForRangeOfYears(
                                        used.zone, firstYear, lastYear, historicallyAccurate));
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
    QList<CommonDataMO *> events;
    // Every item's record and extra records are read in a few queries for
    // all of them, not one per item.
    for (ManagedObject *object : Queries::objectsInContainer(
             calendar, {QStringLiteral("objectInfo"), QString::fromLatin1(Schema::kExtrasKey)})) {
        if (auto *event = ModelObject::as<CommonDataMO>(object))
            events << event;
    }
    addTimeZones(vcalendar, events, true);
    // The items follow the header and the zones, written as text.
    QByteArray text = takeOpenText(vcalendar);
    // Detached instances follow their original; an orphan stands alone. They
    // are all among the calendar's items: grouped here rather than asked of
    // each item, which would read the store once per item.
    QHash<ManagedObject *, QList<CommonDataMO *>> detachedOf;
    for (CommonDataMO *event : events) {
        if (isDetached(event)) {
            if (ManagedObject *original = event->objectForKey(QStringLiteral("originalEvent")))
                detachedOf[original] << event;
        }
    }
    ICalEventRequest request;
    for (CommonDataMO *event : events) {
        if (isDetached(event) && event->objectForKey(QStringLiteral("originalEvent")))
            continue;
        for (CommonDataMO *each : QList<CommonDataMO *>{event} + detachedOf.value(event)) {
            request.event = each;
            ICalEventWriter::writeEvent(request, text);
        }
    }
    return text + kCalendarEnd;
}

}  // namespace ICalCalendarWriter
