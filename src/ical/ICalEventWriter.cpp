#include "ical/ICalEventWriter.h"

#include <libical/ical.h>

#include "ical/ICalAlarmWriter.h"
#include "ical/ICalAttachmentWriter.h"
#include "ical/ICalCodes.h"
#include "ical/ICalDates.h"
#include "ical/ICalPeopleWriter.h"
#include "ical/ICalProperties.h"
#include "ical/ICalWriteOptions.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemDates.h"
#include "model/MeetingRoles.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "time/recurrence/ICalRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"

namespace {

using namespace ICalWriteOptions;

using ICalCodes::Event;
using ICalCodes::Journal;
using ICalCodes::ToDo;
// A to-do's alarm this close to its due time gives the to-do its start.
constexpr double kAlarmStartWindow = 43200;

QByteArray utf8(const QString &text) {
    return text.toUtf8();
}

class EventBuilder {
public:
    explicit EventBuilder(const ICalEventRequest &request)
        : m_request(request),
          m_event(request.event),
          m_options(request.options),
          m_wholeItem(ICalMethods::carriesWholeItem(request.method)) {}

    icalcomponent *build();

private:
    bool has(quint32 option) const { return m_options & option; }
    QString text(const char *key) const {
        return m_event->valueForKey(QLatin1String(key)).toString();
    }
    QString richText(const char *key) const {
        return m_event->stringValueForKey(QLatin1String(key)).value_or(QString());
    }
    void addText(icalproperty *property, const QString &value) {
        if (value.isEmpty()) {
            icalproperty_free(property);
            return;
        }
        icalcomponent_add_property(m_component, property);
    }

    icalcomponent_kind componentKind();
    void addDates();
    void addRecurrence();
    void addTexts();
    void addPlace();
    void addIdentity();
    void addRecurrenceID();
    void addStatus();
    void addLinksAndTags();
    void addStampsAndProgress();
    void addOwnProperties();

    const ICalEventRequest &m_request;
    CommonDataMO *m_event;
    const quint32 m_options;
    const bool m_wholeItem;
    icalcomponent *m_component = nullptr;
    SyncableObjectMO *m_info = nullptr;
    ExtraDataMO *m_organizer = nullptr;
    CommonDataMO *m_original = nullptr;  // of a detached instance written as one
    qint64 m_type = Event;
    bool m_allDay = false;
    bool m_floating = false;
    std::optional<CalendarDate> m_start;
};

icalcomponent_kind EventBuilder::componentKind() {
    if (!m_wholeItem)
        return m_type == Event  ? ICAL_VEVENT_COMPONENT
               : m_type == ToDo ? ICAL_VTODO_COMPONENT
                                : ICAL_VJOURNAL_COMPONENT;
    switch (m_type) {
        case ToDo:
            return ICAL_VTODO_COMPONENT;
        case Journal:
            return has(JournalAsEvent) ? ICAL_VEVENT_COMPONENT : ICAL_VJOURNAL_COMPONENT;
        default:
            return ICAL_VEVENT_COMPONENT;
    }
}

icalcomponent *EventBuilder::build() {
    m_info = m_event->objectInfo();
    m_organizer = MeetingRoles(m_event).anyOrganizer();
    m_type = m_event->integerValueForKey(QStringLiteral("eventType"));
    m_allDay = m_event->boolValueForKey(QStringLiteral("allDay"));
    m_floating = m_event->boolValueForKey(QStringLiteral("floatingEvent"));
    if (m_event->entityName() == QLatin1String("DetachedEvent")) {
        m_original =
            ModelObject::as<CommonDataMO>(m_event->objectForKey(QStringLiteral("originalEvent")));
        // An orphan whose original is unknown stands on its own.
        const bool orphan = m_event->boolValueForKey(QStringLiteral("localOrphaned"));
        if (orphan &&
            (!m_original || m_original->objectsForKey(QStringLiteral("detachedEvents")).isEmpty()))
            m_original = nullptr;
    }

    m_component = icalcomponent_new(componentKind());
    if (m_wholeItem) {
        const char *typeName =
            m_type == Journal && !has(JournalAsEvent) ? nullptr : ICalCodes::eventTypeName(m_type);
        if (typeName)
            ICalProperties::addXProperty(m_component, "X-TOLVERN-EVENT-TYPE",
                                         QLatin1String(typeName), has(GlobalScope));
    }
    addDates();
    addRecurrence();
    addTexts();
    addPlace();
    addIdentity();
    addRecurrenceID();
    addStatus();
    if (!m_request.comment.isEmpty())
        icalcomponent_add_property(m_component,
                                   icalproperty_new_comment(utf8(m_request.comment).constData()));
    addLinksAndTags();
    addStampsAndProgress();
    addOwnProperties();
    ICalPeopleWriter::addContacts(m_component, m_event, has(LocalData));
    ICalProperties::addXProps(m_component,
                              m_event->unarchivedValueForKey(QStringLiteral("xProps")).toMap());
    ICalPeopleWriter::addPeople(m_component, m_request, m_organizer);
    if (m_wholeItem) {
        ICalAttachmentWriter::addAttachments(m_component, m_event, m_options);
        ICalAlarmWriter::addAlarms(m_component, m_event, m_options);
    }
    return m_component;
}

void EventBuilder::addDates() {
    m_start = m_event->calendarDateValueForKey(QStringLiteral("startTimeAndZone"));
    const bool toDo = m_type == ToDo;
    std::optional<CalendarDate> end = m_event->calendarDateValueForKey(
        toDo ? QStringLiteral("dueTimeAndZone") : QStringLiteral("endTimeAndZone"));
    bool floating = m_floating;
    if (toDo && has(ToDoStart)) {
        if (floating) {
            // The receiver knows no floating times: the same wall clock here.
            const auto here = [](const CalendarDate &date) {
                return CalendarDate::fromWallClock(date.wallClock(), QTimeZone::systemTimeZone());
            };
            m_start = m_start ? std::optional(here(*m_start)) : std::nullopt;
            end = end ? std::optional(here(*end)) : std::nullopt;
            floating = false;
        }
        const std::optional<Date> alarm = ICalAlarmWriter::firstAbsoluteTrigger(m_event);
        if (end && alarm) {
            const double before = end->date().secondsSince(*alarm);
            if (before > -kAlarmStartWindow && before <= kAlarmStartWindow) {
                icalcomponent_add_property(
                    m_component, ICalDates::newDateProperty(ICAL_DTSTART_PROPERTY,
                                                            CalendarDate(*alarm, QTimeZone::utc()),
                                                            false, false));
                m_start.reset();
                icalcomponent_add_property(
                    m_component,
                    ICalDates::newDateProperty(ICAL_DUE_PROPERTY, *end, m_allDay, floating));
                return;
            }
        }
        if (!m_start)
            m_start = end;
    }
    if (m_start)
        icalcomponent_add_property(
            m_component,
            ICalDates::newDateProperty(ICAL_DTSTART_PROPERTY, *m_start, m_allDay, floating));
    if (end)
        icalcomponent_add_property(
            m_component, ICalDates::newDateProperty(toDo ? ICAL_DUE_PROPERTY : ICAL_DTEND_PROPERTY,
                                                    *end, m_allDay, floating));
}

void EventBuilder::addRecurrence() {
    const QTimeZone zone = m_start ? m_start->timeZone() : QTimeZone::utc();
    const auto inStartZone = [&](const CalendarDate &date) {
        return CalendarDate(date.date(), zone);
    };
    for (ExtraDataMO *record : m_event->extrasForRelationship(QStringLiteral("recurrences"))) {
        const RecurrenceRecord rules(record);
        const RecurrenceRule rule = rules.recurrenceRule();
        icalproperty *rrule =
            icalproperty_new_rrule(ICalRecurrence::icalRecurrence(rule, m_allDay));
        if (rule.regenerate)
            ICalProperties::addParameter(rrule, QStringLiteral("X-TOLVERN-REGENERATE"),
                                         QStringLiteral("OIL"));
        icalcomponent_add_property(m_component, rrule);
        for (const CalendarDate &date : rules.customDates())
            icalcomponent_add_property(
                m_component, ICalDates::newDateProperty(ICAL_RDATE_PROPERTY, inStartZone(date),
                                                        m_allDay, m_floating));
        for (const CalendarDate &date : rules.exceptionDates())
            icalcomponent_add_property(
                m_component, ICalDates::newDateProperty(ICAL_EXDATE_PROPERTY, inStartZone(date),
                                                        m_allDay, m_floating));
    }
}

void EventBuilder::addTexts() {
    const QString title = richText("title");
    addText(icalproperty_new_summary(utf8(title).constData()), title);
    const QString content = richText("content");
    addText(icalproperty_new_description(utf8(content).constData()), content);
    if (has(NoRichText) || !m_wholeItem)
        return;
    ICalProperties::addRichText(m_component, "X-TOLVERN-SUMMARY",
                                m_event->attributedStringValueForKey(QStringLiteral("title")));
    ICalProperties::addRichText(m_component, "X-TOLVERN-DESCRIPTION",
                                m_event->attributedStringValueForKey(QStringLiteral("content")));
    if (has(LocalData))
        ICalProperties::addRichText(
            m_component, "X-TOLVERN-LOCAL-DESCRIPTION",
            m_event->attributedStringValueForKey(QStringLiteral("localContent")));
}

void EventBuilder::addPlace() {
    const QString locationURL = text("locationURL");
    QString location = text("location");
    if (location.isEmpty())
        location = locationURL;
    addText(icalproperty_new_location(utf8(location).constData()), location);
    for (const auto &[key, name] :
         {std::pair{"travelTimeBefore", "X-APPLE-TRAVEL-DURATION"},
          std::pair{"travelTimeAfter", "X-APPLE-TRAVEL-RETURN-DURATION"}}) {
        const qint64 seconds = m_event->integerValueForKey(QLatin1String(key));
        if (seconds == 0)
            continue;
        char *duration = icaldurationtype_as_ical_string_r(icaldurationtype_from_int(int(seconds)));
        icalproperty *property =
            ICalProperties::addXProperty(m_component, name, QString::fromLatin1(duration));
        icalmemory_free_buffer(duration);
        ICalProperties::addParameter(property, QStringLiteral("VALUE"), QStringLiteral("DURATION"));
    }
    if (m_wholeItem && locationURL != location)
        ICalProperties::addXProperty(m_component, "X-TOLVERN-LOCATION-URL", locationURL,
                                     has(GlobalScope));
}

void EventBuilder::addIdentity() {
    QString uid = m_event->uid();
    if (m_organizer && !has(LocalData)) {
        if (const QString meetingUID =
                m_organizer->valueForKey(QStringLiteral("meetingUID")).toString();
            !meetingUID.isEmpty())
            uid = meetingUID;
    }
    icalcomponent_add_property(m_component, icalproperty_new_uid(utf8(uid).constData()));
    if (m_organizer || !has(LocalData)) {
        const qint64 sequence =
            m_organizer ? m_organizer->integerValueForKey(QStringLiteral("localSequence")) : 0;
        icalcomponent_add_property(m_component, icalproperty_new_sequence(int(sequence)));
    }
    icalcomponent_add_property(
        m_component, icalproperty_new_dtstamp(ICalDates::utcIcaltime(Clock::shared().now())));
}

void EventBuilder::addRecurrenceID() {
    if (!m_original && !m_request.occurrence)
        return;
    CommonDataMO *reference = m_original ? m_original : m_event;
    std::optional<CalendarDate> recurrence =
        m_request.occurrence
            ? m_request.occurrence
            : m_event->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
    if (!recurrence)
        recurrence = m_start;
    if (!recurrence)
        return;
    const std::optional<CalendarDate> referenceStart =
        reference->calendarDateValueForKey(QStringLiteral("startTimeAndZone"));
    const CalendarDate date(recurrence->date(),
                            referenceStart ? referenceStart->timeZone() : recurrence->timeZone());
    icalproperty *property = ICalDates::newDateProperty(
        ICAL_RECURRENCEID_PROPERTY, date, reference->boolValueForKey(QStringLiteral("allDay")),
        reference->boolValueForKey(QStringLiteral("floatingEvent")));
    if (has(ThisAndFuture))
        icalproperty_add_parameter(property, icalparameter_new_range(ICAL_RANGE_THISANDFUTURE));
    icalcomponent_add_property(m_component, property);
}

void EventBuilder::addStatus() {
    const char *status =
        ICalCodes::itemStatusName(m_event->integerValueForKey(QStringLiteral("status")));
    if (has(Cancelling) && !m_wholeItem)
        status = "CANCELLED";
    if (status)
        icalcomponent_add_property(m_component,
                                   icalproperty_new_status(icalproperty_string_to_status(status)));
}

void EventBuilder::addLinksAndTags() {
    if (!m_wholeItem)
        return;
    const QString url = text("url");
    addText(icalproperty_new_url(utf8(url).constData()), url);
    if (has(LocalData))
        ICalProperties::addXProperty(m_component, "X-TOLVERN-LOCAL-URL", text("localURL"));
    const QString tags = m_event->tagListValueForKey(QStringLiteral("tags")).join(QLatin1Char(','));
    addText(icalproperty_new_categories(utf8(tags).constData()), tags);
    if (has(LocalData))
        ICalProperties::addXProperty(
            m_component, "X-TOLVERN-LOCAL-CATEGORIES",
            m_event->tagListValueForKey(QStringLiteral("localTags")).join(QLatin1Char(',')));
}

void EventBuilder::addStampsAndProgress() {
    if (const std::optional<Date> created = m_event->dateValueForKey(QStringLiteral("createTime")))
        icalcomponent_add_property(m_component,
                                   icalproperty_new_created(ICalDates::utcIcaltime(*created)));
    const bool blocks = ItemDates(m_event).canBlockTime() &&
                        m_event->integerValueForKey(QStringLiteral("blocksTime")) != 0;
    if (!blocks && (m_wholeItem || has(Cancelling)))
        icalcomponent_add_property(m_component, icalproperty_new_transp(ICAL_TRANSP_TRANSPARENT));
    if (const std::optional<Date> modified =
            m_info ? m_info->dateValueForKey(QStringLiteral("lastModTime")) : std::nullopt)
        icalcomponent_add_property(
            m_component, icalproperty_new_lastmodified(ICalDates::utcIcaltime(*modified)));
    if (const qint64 priority = m_event->integerValueForKey(QStringLiteral("priority")))
        icalcomponent_add_property(m_component, icalproperty_new_priority(int(priority)));
    if (const std::optional<Date> completed =
            m_event->dateValueForKey(QStringLiteral("completionTime")))
        icalcomponent_add_property(m_component,
                                   icalproperty_new_completed(ICalDates::utcIcaltime(*completed)));
    if (const qint64 percent = m_event->integerValueForKey(QStringLiteral("percentComplete")))
        icalcomponent_add_property(m_component, icalproperty_new_percentcomplete(int(percent)));
    if (m_event->integerValueForKey(QStringLiteral("classification")) != 0)
        icalcomponent_add_property(m_component, icalproperty_new_class(ICAL_CLASS_PRIVATE));
}

void EventBuilder::addOwnProperties() {
    const CommonDataMO *calendar = m_event->parentContainer();
    if (calendar && calendar->boolValueForKey(QStringLiteral("holidayCalendar")) &&
        m_event->boolValueForKey(QStringLiteral("observedHoliday")))
        ICalProperties::addXProperty(m_component, "X-TOLVERN-HOLIDAY-TYPE",
                                     QStringLiteral("OBSERVED"), true);
    if (m_info && !has(GlobalScope))
        ICalProperties::addXProperty(m_component, "X-TOLVERN-LASTMODBY",
                                     m_info->valueForKey(QStringLiteral("lastModBy")).toString());
    if (!has(LocalData))
        return;
    if (const qint64 order = m_event->integerValueForKey(QStringLiteral("localSortOrder")))
        ICalProperties::addXProperty(m_component, "X-TOLVERN-SORT-ORDER", QString::number(order));
    if (m_event->boolValueForKey(QStringLiteral("localMinimized")))
        ICalProperties::addXProperty(m_component, "X-TOLVERN-MINIMIZED",
                                     QStringLiteral("MINIMIZED"));
    if (m_event->boolValueForKey(QStringLiteral("localHidden")))
        ICalProperties::addXProperty(m_component, "X-TOLVERN-HIDDEN", QStringLiteral("HIDDEN"));
}

}  // namespace

namespace ICalEventWriter {

icalcomponent *eventComponent(const ICalEventRequest &request) {
    return EventBuilder(request).build();
}

}  // namespace ICalEventWriter
