#include "ical/ICalImporter.h"

#include <libical/ical.h>
#include <QHash>
#include <QSet>

#include "ical/ICalCalendarReader.h"
#include "ical/ICalDateReader.h"
#include "ical/ICalEventReader.h"
#include "ical/ICalParsePipeline.h"
#include "ical/ICalPropertyReader.h"
#include "ical/ICalReadOptions.h"
#include "ical/ICalSlicer.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "time/recurrence/ItemRecurrence.h"

namespace {

bool isItem(icalcomponent *component) {
    const icalcomponent_kind kind = icalcomponent_isa(component);
    return kind == ICAL_VEVENT_COMPONENT || kind == ICAL_VTODO_COMPONENT ||
           kind == ICAL_VJOURNAL_COMPONENT;
}

// What the parser noted about properties it could not read, joined.
QString parserNotes(icalcomponent *component) {
    QStringList notes;
    for (icalproperty *property =
             icalcomponent_get_first_property(component, ICAL_XLICERROR_PROPERTY);
         property; property = icalcomponent_get_next_property(component, ICAL_XLICERROR_PROPERTY)) {
        const char *text = icalproperty_get_xlicerror(property);
        if (text)
            notes << QString::fromUtf8(text).trimmed();
    }
    return notes.join(QLatin1String("; "));
}

// Why the component cannot become an item; none when it can.
std::optional<QString> problemOf(icalcomponent *component, icalcomponent *vcalendar) {
    if (!isItem(component))
        return QStringLiteral("not an event, to-do or journal entry (%1)")
            .arg(QString::fromUtf8(icalcomponent_kind_to_string(icalcomponent_isa(component))));
    const auto unreadable = [&](icalproperty_kind kind) {
        icalproperty *property = icalcomponent_get_first_property(component, kind);
        return !property || !ICalDateReader::dateOfProperty(property, vcalendar);
    };
    QString problem;
    if (icalcomponent_isa(component) == ICAL_VEVENT_COMPONENT && unreadable(ICAL_DTSTART_PROPERTY))
        problem = QStringLiteral("an event without a readable start (DTSTART)");
    else if (icalcomponent_get_first_property(component, ICAL_RECURRENCEID_PROPERTY) &&
             unreadable(ICAL_RECURRENCEID_PROPERTY))
        problem = QStringLiteral("an unreadable RECURRENCE-ID");
    if (problem.isEmpty())
        return std::nullopt;
    const QString notes = parserNotes(component);
    return notes.isEmpty() ? problem : problem + QStringLiteral(": ") + notes;
}

// Frees the properties and subcomponents of a component that was read,
// leaving it empty in its place. Each is taken from the head of its list,
// which the library finds at once.
void emptyComponent(icalcomponent *component) {
    while (icalproperty *property =
               icalcomponent_get_first_property(component, ICAL_ANY_PROPERTY)) {
        icalcomponent_remove_property(component, property);
        icalproperty_free(property);
    }
    while (icalcomponent *child =
               icalcomponent_get_first_component(component, ICAL_ANY_COMPONENT)) {
        icalcomponent_remove_component(component, child);
        icalcomponent_free(child);
    }
}

QString uidOf(icalcomponent *component) {
    const char *uid = icalcomponent_get_uid(component);
    return uid ? QString::fromUtf8(uid).trimmed() : QString();
}

QString productIDOf(icalcomponent *vcalendar) {
    icalproperty *property = icalcomponent_get_first_property(vcalendar, ICAL_PRODID_PROPERTY);
    return property ? ICalPropertyReader::textOfProperty(property).value_or(QString()) : QString();
}

}  // namespace

struct ICalImporter::Parsed {
    icalcomponent *root = nullptr;
    QList<icalcomponent *> calendars;
    // The components of the one VCALENDAR when they are parsed while read;
    // the VCALENDAR then holds only its own properties and VTIMEZONEs.
    std::unique_ptr<ICalParsePipeline> pipeline;
    bool imported = false;  // the components are read and emptied

    ~Parsed() {
        pipeline.reset();
        if (root)
            icalcomponent_free(root);
    }
};

// One import into one calendar.
class ICalImporter::Run {
public:
    Run(CommonDataMO *calendar, quint32 options, const MainEventMaker &mainEventMaker,
        ItemsByUID *sharedMasters)
        : m_calendar(calendar),
          m_options(options),
          m_mainEventMaker(mainEventMaker),
          m_masters(sharedMasters ? *sharedMasters : m_ownMasters) {}

    // Items first, then the occurrences, so that an occurrence finds its
    // repeating item wherever it came. Each component is emptied as soon as
    // it is read (VTIMEZONEs stay, for the dates of later components): the
    // parse of a large file is larger than the items made of it, and its
    // memory is freed while still in the cache and used again for the items.
    // With a pipeline, the components of the one VCALENDAR come from it, and
    // each is read inside the VCALENDAR, as if parsed there, and then freed.
    Result run(const QList<icalcomponent *> &calendars, ICalParsePipeline *pipeline) {
        m_pipeline = pipeline;
        int items = pipeline ? int(pipeline->componentCount()) : 0;
        for (icalcomponent *vcalendar : calendars)
            items += icalcomponent_count_components(vcalendar, ICAL_ANY_COMPONENT);
        if (!m_masters.read && (items > kItemsLookedUpOneByOne || &m_masters != &m_ownMasters))
            readCalendarsEvents();
        // The occurrences of each VCALENDAR with their positions, read last.
        QList<QList<std::pair<icalcomponent *, int>>> occurrences(calendars.size());
        int position = 0;
        for (qsizetype index = 0; index < calendars.size(); ++index) {
            icalcomponent *vcalendar = calendars[index];
            ICalCalendarReader::defaultZoneFromVCalendar(m_calendar, vcalendar);
            while (icalcomponent *component = pipeline ? pipeline->takeNext() : nullptr) {
                ++position;
                if (icalcomponent_get_first_property(component, ICAL_RECURRENCEID_PROPERTY)) {
                    occurrences[index].append({component, position});
                    icalcomponent_add_component(m_later.get(), component);
                    continue;
                }
                importTaken(component, vcalendar, position);
            }
            for (icalcomponent *component =
                     icalcomponent_get_first_component(vcalendar, ICAL_ANY_COMPONENT);
                 component;
                 component = icalcomponent_get_next_component(vcalendar, ICAL_ANY_COMPONENT)) {
                if (icalcomponent_isa(component) == ICAL_VTIMEZONE_COMPONENT)
                    continue;
                ++position;
                if (icalcomponent_get_first_property(component, ICAL_RECURRENCEID_PROPERTY)) {
                    occurrences[index].append({component, position});
                    continue;
                }
                importComponent(component, vcalendar, position);
                emptyComponent(component);
            }
        }
        for (qsizetype index = 0; index < calendars.size(); ++index) {
            ICalCalendarReader::defaultZoneFromVCalendar(m_calendar, calendars[index]);
            for (const auto &[component, at] : std::as_const(occurrences[index])) {
                if (pipeline) {
                    icalcomponent_remove_component(m_later.get(), component);
                    importTaken(component, calendars[index], at);
                    continue;
                }
                importComponent(component, calendars[index], at);
                emptyComponent(component);
            }
        }
        return m_result;
    }

private:
    void skip(const QString &uid, int position, const QString &reason) {
        const QString which = uid.isEmpty() ? QStringLiteral("component %1").arg(position) : uid;
        logWarning("ICalImporter: skipped %@: %@", which, reason);
        m_result.skipped.append({which, reason});
    }
    void importComponent(icalcomponent *component, icalcomponent *vcalendar, int position);
    // Reads a component taken from the pipeline inside its VCALENDAR, then
    // hands it back to be freed.
    void importTaken(icalcomponent *component, icalcomponent *vcalendar, int position) {
        icalcomponent_add_component(vcalendar, component);
        importComponent(component, vcalendar, position);
        icalcomponent_remove_component(vcalendar, component);
        m_pipeline->dispose(component);
    }
    CommonDataMO *newItem(const QString &entity, const QString &uid);
    CommonDataMO *detachedInstance(CommonDataMO *master, const CalendarDate &occurrence) const;
    CommonDataMO *masterWithUID(const QString &uid);
    void readCalendarsEvents();

    // A text with more components than this (a file, not one server
    // resource) has the calendar's events read once, rather than each
    // looked up by uid: a lookup also judges every unsaved item in memory.
    static constexpr int kItemsLookedUpOneByOne = 64;
    void saveEveryFewThousand();

    CommonDataMO *m_calendar;
    const quint32 m_options;
    const MainEventMaker &m_mainEventMaker;
    // The calendar's events by uid, as far as this run has looked them up
    // (through the store's uid index) or made them; all of them once read.
    // The caller's when it shares them, else this run's own.
    ItemsByUID m_ownMasters;
    ItemsByUID &m_masters;
    Result m_result;
    ICalParsePipeline *m_pipeline = nullptr;
    // The occurrences taken from a pipeline, held in order until they are
    // read (and freed with the run should it end early).
    std::unique_ptr<icalcomponent, void (*)(icalcomponent *)> m_later{
        icalcomponent_new(ICAL_XROOT_COMPONENT), icalcomponent_free};
    QSet<QString> m_readUIDs;
    // The PRODID of the VCALENDAR read last, read once for its components.
    icalcomponent *m_productVCalendar = nullptr;
    QString m_productID;
    int m_unsaved = 0;
};

CommonDataMO *ICalImporter::Run::newItem(const QString &entity, const QString &uid) {
    CommonDataMO *item = CommonDataMO::makeObject(entity, m_calendar, nullptr);
    if (!uid.isEmpty())
        item->objectInfo()->setValue(QStringLiteral("uid"), uid);
    return item;
}

CommonDataMO *ICalImporter::Run::masterWithUID(const QString &uid) {
    if (uid.isEmpty())
        return nullptr;
    const auto known = m_masters.items.constFind(uid);
    if (known != m_masters.items.cend() || m_masters.read)
        return known != m_masters.items.cend() && *known && !(*known)->isDeleted() ? *known
                                                                                   : nullptr;
    CommonDataMO *master = nullptr;
    const SyncableObjectMO *calendarInfo = m_calendar->objectInfo();
    for (ManagedObject *child : Queries::syncableChildrenForUID(uid)) {
        auto *syncable = ModelObject::as<SyncableObjectMO>(child);
        CommonDataMO *item = syncable->objectData();
        if (item && syncable->parentContainer() == calendarInfo &&
            item->entityName() == QLatin1String("Event")) {
            master = item;
            break;
        }
    }
    m_masters.items.insert(uid, master);
    return master;
}

void ICalImporter::Run::readCalendarsEvents() {
    for (ManagedObject *object :
         Queries::objectsInContainer(m_calendar, {QStringLiteral("objectInfo")})) {
        auto *item = ModelObject::as<CommonDataMO>(object);
        if (item && item->entityName() == QLatin1String("Event") && !item->uid().isEmpty())
            m_masters.items.insert(item->uid(), item);
    }
    m_masters.read = true;
}

CommonDataMO *ICalImporter::Run::detachedInstance(CommonDataMO *master,
                                                  const CalendarDate &occurrence) const {
    for (CommonDataMO *detached : ItemRecurrence(master).detachedInstances()) {
        const std::optional<CalendarDate> original =
            detached->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
        if (original && original->date() == occurrence.date())
            return detached;
    }
    return nullptr;
}

void ICalImporter::Run::importComponent(icalcomponent *component, icalcomponent *vcalendar,
                                        int position) {
    const QString uid = uidOf(component);
    if (const std::optional<QString> problem = problemOf(component, vcalendar)) {
        skip(uid, position, *problem);
        return;
    }
    icalproperty *recurrenceID =
        icalcomponent_get_first_property(component, ICAL_RECURRENCEID_PROPERTY);
    CommonDataMO *master = masterWithUID(uid);
    if (recurrenceID && !master && !uid.isEmpty() && m_mainEventMaker) {
        master = m_mainEventMaker(uid, *ICalDateReader::dateOfProperty(recurrenceID, vcalendar));
        if (master)
            m_masters.items.insert(uid, master);
    }
    CommonDataMO *item = nullptr;
    bool made = false;
    if (vcalendar != m_productVCalendar) {
        m_productVCalendar = vcalendar;
        m_productID = productIDOf(vcalendar);
    }
    ICalEventSource source{component, vcalendar, m_productID, m_options, false};
    if (recurrenceID && master) {
        const CalendarDate occurrence = *ICalDateReader::dateOfProperty(recurrenceID, vcalendar);
        item = detachedInstance(master, occurrence);
        if (!item) {
            item = newItem(QStringLiteral("DetachedEvent"), uid);
            item->setObject(QStringLiteral("originalEvent"), master);
            item->setCalendarDateValue(occurrence, QStringLiteral("originalTimeAndZone"));
            made = true;
        }
        source.detached = true;
    } else {
        if (recurrenceID)
            logInfo("ICalImporter: no repeating item %@ for an occurrence, stored as an item", uid);
        item = recurrenceID ? nullptr : master;
        if (!item) {
            item = newItem(QStringLiteral("Event"), uid);
            made = true;
            if (!uid.isEmpty() && !recurrenceID)
                m_masters.items.insert(uid, item);
        }
    }
    source.fresh = made;
    if (!made) {
        for (ExtraDataMO *reminder : item->extrasForRelationship(QStringLiteral("reminders")))
            reminder->deleteExtra();
    }
    if (!ICalEventReader::eventFromComponent(item, source)) {
        if (made) {
            if (!source.detached && !uid.isEmpty())
                m_masters.items.insert(uid, nullptr);
            m_calendar->managedObjectContext()->deleteObject(item->objectInfo());
        }
        skip(uid, position, QStringLiteral("the store refused it (see the log)"));
        return;
    }
    if (!recurrenceID && item->boolValueForKey(QStringLiteral("localOrphaned")))
        item->setBoolValue(false, QStringLiteral("localOrphaned"));  // known now
    if (source.detached) {
        ItemRecurrence(master).detachedInstancesChanged();
        if (!m_result.detached.contains(item))
            m_result.detached.append(item);
    }
    ++(made ? m_result.stored : m_result.updated);
    if (!uid.isEmpty() && !m_readUIDs.contains(uid)) {
        m_readUIDs.insert(uid);
        m_result.uids.append(uid);
    }
    saveEveryFewThousand();
}

void ICalImporter::Run::saveEveryFewThousand() {
    if (++m_unsaved < kItemsPerSave)
        return;
    m_calendar->managedObjectContext()->save();
    m_unsaved = 0;
}

ICalImporter::ICalImporter(const QByteArray &text, qsizetype pipelinedFrom)
    : m_parsed(std::make_unique<Parsed>()) {
    icalerror_set_errors_are_fatal(0);
    std::optional<ICalSlicer> slices =
        text.size() >= pipelinedFrom ? ICalSlicer::slice(text) : std::nullopt;
    if (slices) {
        m_parsed->root = icalparser_parse_string(slices->calendarText().constData());
        m_parsed->pipeline = std::make_unique<ICalParsePipeline>(std::move(*slices));
    } else {
        m_parsed->root = icalparser_parse_string(text.constData());
    }
    icalcomponent *root = m_parsed->root;
    if (root && icalcomponent_isa(root) == ICAL_VCALENDAR_COMPONENT) {
        m_parsed->calendars << root;
    } else if (root && icalcomponent_isa(root) == ICAL_XROOT_COMPONENT) {
        for (icalcomponent *calendar =
                 icalcomponent_get_first_component(root, ICAL_VCALENDAR_COMPONENT);
             calendar; calendar = icalcomponent_get_next_component(root, ICAL_VCALENDAR_COMPONENT))
            m_parsed->calendars << calendar;
    }
    if (m_parsed->calendars.isEmpty())
        throw NotICalendar("not iCalendar data: no VCALENDAR");
}

ICalImporter::~ICalImporter() = default;

std::optional<QString> ICalImporter::calendarName() const {
    icalcomponent *vcalendar = m_parsed->calendars.first();
    for (icalproperty *property = icalcomponent_get_first_property(vcalendar, ICAL_X_PROPERTY);
         property; property = icalcomponent_get_next_property(vcalendar, ICAL_X_PROPERTY)) {
        if (ICalPropertyReader::propertyName(property).compare(QLatin1String("X-WR-CALNAME"),
                                                               Qt::CaseInsensitive) == 0)
            return ICalPropertyReader::textOfProperty(property);
    }
    return std::nullopt;
}

void ICalImporter::describeCalendar(CommonDataMO *calendar) const {
    ICalCalendarReader::calendarFromVCalendar(calendar, m_parsed->calendars.first());
}

ICalImporter::Result ICalImporter::importInto(CommonDataMO *calendar, quint32 options) {
    if (m_parsed->imported)
        throw std::logic_error("ICalImporter: the text was imported already");
    m_parsed->imported = true;
    return Run(calendar, options, m_mainEventMaker, m_itemsByUID)
        .run(m_parsed->calendars, m_parsed->pipeline.get());
}

ICalImporter::Result ICalImporter::importInto(CommonDataMO *calendar) {
    return importInto(calendar, ICalReadOptions::Alarms | ICalReadOptions::Attachments);
}
