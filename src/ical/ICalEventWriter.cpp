#include "ical/ICalEventWriter.h"

#include <libical/ical.h>

#include "ical/ICalAlarmWriter.h"
#include "ical/ICalAttachmentWriter.h"
#include "ical/ICalCodes.h"
#include "ical/ICalItemExtras.h"
#include "ical/ICalPeopleWriter.h"
#include "ical/ICalProperties.h"
#include "ical/ICalTextWriter.h"
#include "ical/ICalWriteOptions.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemDates.h"
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

class EventBuilder {
public:
    EventBuilder(const ICalEventRequest &request, QByteArray &text, ICalStoredDates *dates)
        : m_request(request),
          m_event(request.event),
          m_options(request.options),
          m_wholeItem(ICalMethods::carriesWholeItem(request.method)),
          m_extras(request.event),
          m_out(text),
          m_dates(dates) {}

    void build();

private:
    bool has(quint32 option) const { return m_options & option; }
    const QString &text(const QString &key) const { return m_event->stringAttributeForKey(key); }
    void addText(const char *name, const QString &value) {
        if (!value.isEmpty())
            m_out.property(name).text(value);
    }

    const char *componentName() const;
    void addDates();
    void noteStoredDates(const std::optional<CalendarDate> &end);
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
    const ICalItemExtras m_extras;
    ICalTextWriter m_out;
    ICalStoredDates *const m_dates;
    // The caller's SEQUENCE for the UID written, and whether it went out.
    std::optional<qint64> m_sequence;
    bool m_wroteSequence = false;
    SyncableObjectMO *m_info = nullptr;
    ExtraDataMO *m_organizer = nullptr;
    CommonDataMO *m_original = nullptr;  // of a detached instance written as one
    qint64 m_type = Event;
    bool m_allDay = false;
    bool m_floating = false;
    std::optional<CalendarDate> m_start;
};

const char *EventBuilder::componentName() const {
    if (!m_wholeItem)
        return m_type == Event ? "VEVENT" : m_type == ToDo ? "VTODO" : "VJOURNAL";
    switch (m_type) {
        case ToDo:
            return "VTODO";
        case Journal:
            return has(JournalAsEvent) ? "VEVENT" : "VJOURNAL";
        default:
            return "VEVENT";
    }
}

void EventBuilder::build() {
    m_info = m_event->objectInfo();
    // The first organizer record of an item; other objects have none.
    m_organizer = m_event->isChild() ? m_extras.organizers.value(0) : nullptr;
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

    const char *component = componentName();
    m_out.begin(component);
    if (m_wholeItem) {
        const char *typeName =
            m_type == Journal && !has(JournalAsEvent) ? nullptr : ICalCodes::eventTypeName(m_type);
        if (typeName)
            ICalProperties::writeXProperty(m_out, "X-TOLVERN-EVENT-TYPE", QLatin1String(typeName),
                                           has(GlobalScope));
    }
    addDates();
    addRecurrence();
    addTexts();
    addPlace();
    addIdentity();
    addRecurrenceID();
    addStatus();
    if (!m_request.comment.isEmpty())
        m_out.property("COMMENT").text(m_request.comment);
    addLinksAndTags();
    addStampsAndProgress();
    addOwnProperties();
    ICalPeopleWriter::writeContacts(m_out, m_extras.contacts, has(LocalData));
    ICalProperties::writeXProps(m_out,
                                m_event->unarchivedValueForKey(QStringLiteral("xProps")).toMap());
    ICalPeopleWriter::writePeople(m_out, m_request, m_organizer, m_extras.attendees);
    if (m_wholeItem)
        ICalAttachmentWriter::writeAttachments(m_out, m_event, m_extras.attachments, m_options);
    // The caller's sequence for an item that writes none comes last.
    if (m_sequence && !m_wroteSequence)
        m_out.property("SEQUENCE").number(int(*m_sequence));
    if (m_wholeItem)
        ICalAlarmWriter::writeAlarms(m_out, m_extras, m_options);
    m_out.end(component);
}

void EventBuilder::addDates() {
    m_start = m_event->calendarDateValueForKey(QStringLiteral("startTimeAndZone"));
    const bool toDo = m_type == ToDo;
    std::optional<CalendarDate> end = m_event->calendarDateValueForKey(
        toDo ? QStringLiteral("dueTimeAndZone") : QStringLiteral("endTimeAndZone"));
    if (m_dates)
        noteStoredDates(end);
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
        const std::optional<Date> alarm = ICalAlarmWriter::firstAbsoluteTrigger(m_extras);
        if (end && alarm) {
            const double before = end->date().secondsSince(*alarm);
            if (before > -kAlarmStartWindow && before <= kAlarmStartWindow) {
                m_out.date("DTSTART", CalendarDate(*alarm, QTimeZone::utc()), false, false);
                m_start.reset();
                m_out.date("DUE", *end, m_allDay, floating);
                return;
            }
        }
        if (!m_start)
            m_start = end;
    }
    if (m_start)
        m_out.date("DTSTART", *m_start, m_allDay, floating);
    if (end)
        m_out.date(toDo ? "DUE" : "DTEND", *end, m_allDay, floating);
}

// `end` is the stored end of an event, or due date of a to-do.
void EventBuilder::noteStoredDates(const std::optional<CalendarDate> &end) {
    *m_dates = ICalStoredDates();
    m_dates->allDayOrFloating = m_allDay || m_floating;
    if (m_dates->allDayOrFloating)
        return;
    m_dates->start = m_start;
    if (m_type == ToDo) {
        m_dates->due = end;
        m_dates->end = m_event->calendarDateValueForKey(QStringLiteral("endTimeAndZone"));
    } else {
        m_dates->end = end;
        m_dates->due = m_event->calendarDateValueForKey(QStringLiteral("dueTimeAndZone"));
    }
}

void EventBuilder::addRecurrence() {
    const QTimeZone zone = m_start ? m_start->timeZone() : QTimeZone::utc();
    const auto inStartZone = [&](const CalendarDate &date) {
        return CalendarDate(date.date(), zone);
    };
    for (ExtraDataMO *record : m_extras.recurrences) {
        const RecurrenceRecord rules(record);
        const RecurrenceRule rule = rules.recurrenceRule();
        m_out.property("RRULE");
        if (rule.regenerate)
            m_out.parameter("X-TOLVERN-REGENERATE", QLatin1String("OIL"));
        icalrecurrencetype recurrenceType = ICalRecurrence::icalRecurrence(rule, m_allDay);
        char *recurrence = icalrecurrencetype_as_string_r(&recurrenceType);
        m_out.raw(QByteArrayView(recurrence));
        icalmemory_free_buffer(recurrence);
        for (const CalendarDate &date : rules.customDates())
            m_out.date("RDATE", inStartZone(date), m_allDay, m_floating);
        for (const CalendarDate &date : rules.exceptionDates())
            m_out.date("EXDATE", inStartZone(date), m_allDay, m_floating);
    }
}

void EventBuilder::addTexts() {
    const std::optional<RichText> title =
        m_event->attributedStringValueForKey(QStringLiteral("title"));
    const std::optional<RichText> content =
        m_event->attributedStringValueForKey(QStringLiteral("content"));
    addText("SUMMARY", title ? title->text : QString());
    addText("DESCRIPTION", content ? content->text : QString());
    if (has(NoRichText) || !m_wholeItem)
        return;
    ICalProperties::writeRichText(m_out, "X-TOLVERN-SUMMARY", title);
    ICalProperties::writeRichText(m_out, "X-TOLVERN-DESCRIPTION", content);
    if (has(LocalData))
        ICalProperties::writeRichText(
            m_out, "X-TOLVERN-LOCAL-DESCRIPTION",
            m_event->attributedStringValueForKey(QStringLiteral("localContent")));
}

void EventBuilder::addPlace() {
    const QString &locationURL = text(QStringLiteral("locationURL"));
    const QString &stored = text(QStringLiteral("location"));
    const QString &location = stored.isEmpty() ? locationURL : stored;
    addText("LOCATION", location);
    for (const auto &[key, name] :
         {std::pair{QStringLiteral("travelTimeBefore"), "X-APPLE-TRAVEL-DURATION"},
          std::pair{QStringLiteral("travelTimeAfter"), "X-APPLE-TRAVEL-RETURN-DURATION"}}) {
        const qint64 seconds = m_event->integerValueForKey(key);
        if (seconds == 0)
            continue;
        m_out.property(name).valueType("DURATION").duration(int(seconds));
    }
    if (m_wholeItem && locationURL != location)
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-LOCATION-URL", locationURL,
                                       has(GlobalScope));
}

void EventBuilder::addIdentity() {
    QString uid = m_event->uid();
    if (m_organizer && !has(LocalData)) {
        if (const QString meetingUID =
                m_organizer->stringAttributeForKey(QStringLiteral("meetingUID"));
            !meetingUID.isEmpty())
            uid = meetingUID;
    }
    m_out.property("UID").text(uid);
    if (m_request.sequences) {
        const auto found = m_request.sequences->constFind(uid);
        if (found != m_request.sequences->constEnd())
            m_sequence = *found;
    }
    if (m_organizer || !has(LocalData)) {
        const qint64 sequence =
            m_organizer ? m_organizer->integerValueForKey(QStringLiteral("localSequence")) : 0;
        m_out.property("SEQUENCE").number(int(m_sequence.value_or(sequence)));
        m_wroteSequence = true;
    }
    m_out.property("DTSTAMP").utcTime(Clock::shared().now());
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
    m_out.date("RECURRENCE-ID", date, reference->boolValueForKey(QStringLiteral("allDay")),
               reference->boolValueForKey(QStringLiteral("floatingEvent")), has(ThisAndFuture));
}

void EventBuilder::addStatus() {
    const char *status =
        ICalCodes::itemStatusName(m_event->integerValueForKey(QStringLiteral("status")));
    if (has(Cancelling) && !m_wholeItem)
        status = "CANCELLED";
    if (status)
        m_out.property("STATUS").raw(QByteArrayView(status));
}

void EventBuilder::addLinksAndTags() {
    if (!m_wholeItem)
        return;
    const QString &url = text(QStringLiteral("url"));
    if (!url.isEmpty())
        m_out.property("URL").raw(url);
    if (has(LocalData))
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-LOCAL-URL",
                                       text(QStringLiteral("localURL")));
    const QString tags = m_event->tagListValueForKey(QStringLiteral("tags")).join(QLatin1Char(','));
    if (!tags.isEmpty())
        m_out.property("CATEGORIES").plainText(tags);
    if (has(LocalData))
        ICalProperties::writeXProperty(
            m_out, "X-TOLVERN-LOCAL-CATEGORIES",
            m_event->tagListValueForKey(QStringLiteral("localTags")).join(QLatin1Char(',')));
}

void EventBuilder::addStampsAndProgress() {
    if (const std::optional<Date> created = m_event->dateValueForKey(QStringLiteral("createTime")))
        m_out.property("CREATED").utcTime(*created);
    // Only an event can block time, and an event's start is the stored one.
    const bool blocks = ItemDates::canBlockTime(m_type, m_start.has_value()) &&
                        m_event->integerValueForKey(QStringLiteral("blocksTime")) != 0;
    if (!blocks && (m_wholeItem || has(Cancelling)))
        m_out.property("TRANSP").raw(QByteArrayView("TRANSPARENT"));
    if (const std::optional<Date> modified =
            m_info ? m_info->dateValueForKey(QStringLiteral("lastModTime")) : std::nullopt)
        m_out.property("LAST-MODIFIED").utcTime(*modified);
    if (const qint64 priority = m_event->integerValueForKey(QStringLiteral("priority")))
        m_out.property("PRIORITY").number(int(priority));
    if (const std::optional<Date> completed =
            m_event->dateValueForKey(QStringLiteral("completionTime")))
        m_out.property("COMPLETED").utcTime(*completed);
    if (const qint64 percent = m_event->integerValueForKey(QStringLiteral("percentComplete")))
        m_out.property("PERCENT-COMPLETE").number(int(percent));
    if (m_event->integerValueForKey(QStringLiteral("classification")) != 0)
        m_out.property("CLASS").raw(QByteArrayView("PRIVATE"));
}

void EventBuilder::addOwnProperties() {
    const CommonDataMO *calendar = m_event->parentContainer();
    if (calendar && calendar->boolValueForKey(QStringLiteral("holidayCalendar")) &&
        m_event->boolValueForKey(QStringLiteral("observedHoliday")))
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-HOLIDAY-TYPE", QStringLiteral("OBSERVED"),
                                       true);
    if (m_info && !has(GlobalScope))
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-LASTMODBY",
                                       m_info->stringAttributeForKey(QStringLiteral("lastModBy")));
    if (!has(LocalData))
        return;
    if (const qint64 order = m_event->integerValueForKey(QStringLiteral("localSortOrder")))
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-SORT-ORDER", QString::number(order));
    if (m_event->boolValueForKey(QStringLiteral("localMinimized")))
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-MINIMIZED", QStringLiteral("MINIMIZED"));
    if (m_event->boolValueForKey(QStringLiteral("localHidden")))
        ICalProperties::writeXProperty(m_out, "X-TOLVERN-HIDDEN", QStringLiteral("HIDDEN"));
}

}  // namespace

namespace ICalEventWriter {

void writeEvent(const ICalEventRequest &request, QByteArray &text, ICalStoredDates *dates) {
    EventBuilder(request, text, dates).build();
}

ICalStoredDates storedDates(const CommonDataMO *item) {
    ICalStoredDates dates;
    dates.allDayOrFloating = item->boolValueForKey(QStringLiteral("allDay")) ||
                             item->boolValueForKey(QStringLiteral("floatingEvent"));
    if (dates.allDayOrFloating)
        return dates;
    dates.start = item->calendarDateValueForKey(QStringLiteral("startTimeAndZone"));
    dates.end = item->calendarDateValueForKey(QStringLiteral("endTimeAndZone"));
    dates.due = item->calendarDateValueForKey(QStringLiteral("dueTimeAndZone"));
    return dates;
}

}  // namespace ICalEventWriter
