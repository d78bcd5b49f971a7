#include "ical/ICalEventReader.h"

#include <libical/ical.h>
#include <QCoreApplication>
#include <QUrl>
#include <QVarLengthArray>
#include <array>
#include <stdexcept>

#include "ical/ICalAlarmReader.h"
#include "ical/ICalAttachmentReader.h"
#include "ical/ICalCodes.h"
#include "ical/ICalDateReader.h"
#include "ical/ICalPeopleReader.h"
#include "ical/ICalPropertyReader.h"
#include "ical/ICalReadOptions.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemDates.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"
#include "time/CalendarDates.h"
#include "time/recurrence/ICalRecurrence.h"
#include "time/recurrence/ItemRecurrence.h"

namespace {

using ICalPropertyReader::textOfProperty;

constexpr double kSecondsPerDay = 86400;
// Categories of this scheme are a server's bookkeeping, not the user's tags.
const QString kGoogleCategoryScheme = QStringLiteral("http://schemas.google.com/g/2005#");

// A date property as read: the value and how it was written.
struct DateValue {
    std::optional<CalendarDate> date;
    bool dateOnly = false;
    bool floating = false;
};

// An address with a scheme and a host (or a mail or phone address), not text
// that merely contains a colon.
bool isWebAddress(const QString &text) {
    if (text.isEmpty() || text.contains(QLatin1Char(' ')))
        return false;
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty())
        return false;
    return !url.host().isEmpty() || url.scheme() == QLatin1String("mailto") ||
           url.scheme() == QLatin1String("tel");
}

// The name a sender's product id stands for in `lastModBy`; none to leave it.
// Every item of a text asks with its sender's id: the last id's answer is
// kept per thread (as the kind of sender, so that the name is still
// translated as the language asks).
std::optional<QString> modifierOfProduct(const QString &productID) {
    enum Sender { Other, Phone, Desktop, Cloud, Ours };
    thread_local QString lastProductID;
    thread_local Sender lastSender = Other;  // what no id stands for
    if (productID != lastProductID) {
        lastSender =
            productID.contains(QLatin1String("Apple Inc.//iOS"))   ? Phone
            : productID.contains(QLatin1String("Apple Inc.//Mac")) ? Desktop
            : productID.contains(QLatin1String("CALENDARSERVER.ORG//NONSGML"), Qt::CaseInsensitive)
                ? Cloud
            : productID.contains(QLatin1String("Tolvern LLC")) ? Ours
                                                               : Other;
        lastProductID = productID;
    }
    switch (lastSender) {
        case Phone:
            return QStringLiteral("iOS");
        case Desktop:
            return QStringLiteral("OS X");
        case Cloud:
            return QCoreApplication::translate("ICalEventReader", "iCloud");
        case Ours:
            return QLatin1String(Paths::kProductName);
        case Other:
            break;
    }
    return std::nullopt;
}

class EventReader {
public:
    EventReader(CommonDataMO *event, const ICalEventSource &source);

    void read();

private:
    // The first property of that kind.
    icalproperty *first(icalproperty_kind kind) const { return m_firstOfKind[kind]; }
    std::optional<QString> text(icalproperty_kind kind) const {
        icalproperty *property = first(kind);
        return property ? textOfProperty(property) : std::nullopt;
    }
    // The first X- property of that name.
    icalproperty *xProperty(const char *name) const;
    std::optional<QString> xText(const char *name) const {
        icalproperty *property = xProperty(name);
        return property ? textOfProperty(property) : std::nullopt;
    }
    DateValue dateValue(icalproperty_kind kind) const;
    std::optional<Date> instant(icalproperty_kind kind) const {
        icalproperty *property = first(kind);
        const std::optional<CalendarDate> date =
            property ? ICalDateReader::dateOfProperty(property, m_source.vcalendar) : std::nullopt;
        return date ? std::optional(date->date()) : std::nullopt;
    }
    // The setters change only what differs, so that reading an item again
    // that did not change leaves it (and its stamps) alone; a fresh item
    // differs wherever the component has a value (the values read through
    // the item's cache of decoded values are not read from it at all). Keys
    // are string literals (QStringLiteral), which cost no allocation.
    void setText(const std::optional<QString> &value, const QString &name) {
        if (m_source.fresh) {
            if (value)
                m_event->setValue(name, *value);
            return;
        }
        const QVariant stored = m_event->valueForKey(name);
        if (value ? stored != QVariant(*value) : stored.isValid())
            m_event->setValue(name, value ? QVariant(*value) : QVariant());
    }
    void setPlainText(const QString &value, const QString &name) {
        if (m_source.fresh ? !value.isEmpty()
                           : m_event->stringValueForKey(name).value_or(QString()) != value)
            m_event->setStringValue(value, name);
    }
    void setDate(const std::optional<CalendarDate> &date, const QString &name) {
        if (m_source.fresh ? date.has_value() : m_event->calendarDateValueForKey(name) != date)
            m_event->setCalendarDateValue(date, name);
    }
    void setInstant(const std::optional<Date> &date, const QString &name) {
        if (m_event->dateValueForKey(name) != date)
            m_event->setDateValue(date, name);
    }
    void setInteger(qint64 value, const QString &name) {
        if (m_event->integerValueForKey(name) != value)
            m_event->setIntegerValue(value, name);
    }
    void setBool(bool value, const QString &name) {
        if (m_event->boolValueForKey(name) != value)
            m_event->setBoolValue(value, name);
    }
    void setRichText(const std::optional<RichText> &text, const QString &name) {
        if (m_source.fresh ? text.has_value() : m_event->attributedStringValueForKey(name) != text)
            m_event->setAttributedStringValue(text, name);
    }
    void setTags(const QStringList &tags, const QString &name) {
        if (m_source.fresh ? !tags.isEmpty() : m_event->tagListValueForKey(name) != tags)
            m_event->setTagListValue(tags, name);
    }

    void readType();
    void readDates();
    void readRecurrence();
    void readClassAndTexts();
    void readPlace();
    void readStatusLinksAndTags();
    void readProgress();
    void readOwnProperties();
    void readRichTexts();
    void readStamps();

    CommonDataMO *m_event;
    const ICalEventSource &m_source;
    icalcomponent *m_component;
    // The first property of each kind and the X- properties, found in one
    // walk over the component's properties: the library's look-up walks the
    // list for every kind asked for, to its end for a kind that is missing.
    std::array<icalproperty *, ICAL_NO_PROPERTY + 1> m_firstOfKind{};
    QVarLengthArray<icalproperty *, 8> m_xProperties;
    qint64 m_type = ICalCodes::Event;
    bool m_allDay = false;
    std::optional<CalendarDate> m_start;
};

EventReader::EventReader(CommonDataMO *event, const ICalEventSource &source)
    : m_event(event), m_source(source), m_component(source.component) {
    for (icalproperty *property = icalcomponent_get_first_property(m_component, ICAL_ANY_PROPERTY);
         property; property = icalcomponent_get_next_property(m_component, ICAL_ANY_PROPERTY)) {
        const icalproperty_kind kind = icalproperty_isa(property);
        if (kind == ICAL_X_PROPERTY)
            m_xProperties.append(property);
        else if (kind >= 0 && kind <= ICAL_NO_PROPERTY && !m_firstOfKind[kind])
            m_firstOfKind[kind] = property;
    }
}

icalproperty *EventReader::xProperty(const char *name) const {
    for (icalproperty *property : m_xProperties) {
        const char *xName = icalproperty_get_x_name(property);
        if (xName && qstricmp(xName, name) == 0)
            return property;
    }
    return nullptr;
}

DateValue EventReader::dateValue(icalproperty_kind kind) const {
    icalproperty *property = first(kind);
    icalvalue *value = property ? icalproperty_get_value(property) : nullptr;
    if (!value ||
        (icalvalue_isa(value) != ICAL_DATE_VALUE && icalvalue_isa(value) != ICAL_DATETIME_VALUE))
        return {};
    const icaltimetype time = icalvalue_get_datetime(value);
    DateValue result;
    result.date = ICalDateReader::dateOfProperty(property, m_source.vcalendar);
    result.dateOnly = time.is_date != 0;
    result.floating = !time.is_date && !icaltime_is_utc(time) &&
                      !icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
    return result;
}

void EventReader::read() {
    {
        // The item is stamped once for all it takes from the component, and
        // its days are worked out once, for its dates, rules and their dates
        // together (before the stamp).
        SyncableObjectMO::LocalChangeBatch batch;
        ItemRecurrence::DaysBatch days;
        readType();
        readDates();
        if (!m_source.detached)
            readRecurrence();
        readClassAndTexts();
        readPlace();
        readStatusLinksAndTags();
        readProgress();
        readOwnProperties();
        ICalPeopleReader::readPeople(m_event, m_source);
        if (m_source.options & ICalReadOptions::Attachments)
            ICalAttachmentReader::readAttachments(m_event, m_source);
        if (m_source.options &
            (ICalReadOptions::Alarms | ICalReadOptions::AlarmsWithoutOwnAddresses))
            ICalAlarmReader::readAlarms(m_event, m_source);
        const QVariantMap unknown =
            ICalPropertyReader::unknownProperties(m_component, ICalCodes::isKnownItemProperty);
        if (m_source.fresh
                ? !unknown.isEmpty()
                : m_event->unarchivedValueForKey(QStringLiteral("xProps")).toMap() != unknown)
            m_event->setArchivedValue(unknown.isEmpty() ? QVariant() : QVariant(unknown),
                                      QStringLiteral("xProps"));
    }
    // Last, so that the changes made while reading do not stamp over them.
    readStamps();
}

void EventReader::readType() {
    std::optional<qint64> type;
    if (const std::optional<QString> name = xText("X-TOLVERN-EVENT-TYPE"))
        type = ICalCodes::eventTypeOfName(name->trimmed());
    if (!type) {
        switch (icalcomponent_isa(m_component)) {
            case ICAL_VTODO_COMPONENT:
                type = ICalCodes::ToDo;
                break;
            case ICAL_VJOURNAL_COMPONENT:
                type = ICalCodes::Journal;
                break;
            default:
                type = ICalCodes::Event;
                break;
        }
    }
    m_type = *type;
    setInteger(*type, QStringLiteral("eventType"));
}

void EventReader::readDates() {
    const DateValue start = dateValue(ICAL_DTSTART_PROPERTY);
    const DateValue due = dateValue(ICAL_DUE_PROPERTY);
    DateValue end = dateValue(ICAL_DTEND_PROPERTY);
    if (!end.date && start.date) {
        if (icalproperty *duration = first(ICAL_DURATION_PROPERTY)) {
            const icaldurationtype length = icalproperty_get_duration(duration);
            const int sign = length.is_neg ? -1 : 1;
            DateComponents days;
            days.day = sign * int(length.weeks * 7 + length.days);
            end.date = CalendarDates::dateByAddingComponents(*start.date, days)
                           .addingTimeInterval(sign * double(length.hours * 3600 +
                                                             length.minutes * 60 + length.seconds));
        }
    }
    // An undated to-do takes its kind of time from its due date.
    const DateValue &reference = start.date ? start : due;
    m_allDay = reference.dateOnly;
    if (m_allDay && start.date && (!end.date || end.date->date() <= start.date->date()))
        end.date = start.date->addingTimeInterval(kSecondsPerDay);
    m_start = start.date;
    setDate(start.date, QStringLiteral("startTimeAndZone"));
    setDate(end.date, QStringLiteral("endTimeAndZone"));
    setDate(due.date, QStringLiteral("dueTimeAndZone"));
    setBool(m_allDay, QStringLiteral("allDay"));
    setBool(reference.floating, QStringLiteral("floatingEvent"));
}

void EventReader::readRecurrence() {
    QList<ExtraDataMO *> kept;
    for (icalproperty *property =
             icalcomponent_get_first_property(m_component, ICAL_RRULE_PROPERTY);
         property; property = icalcomponent_get_next_property(m_component, ICAL_RRULE_PROPERTY)) {
        RecurrenceRule rule =
            ICalRecurrence::ruleWithICalRecurrence(icalproperty_get_rrule(property));
        const std::optional<QString> regenerate =
            ICalPropertyReader::parameterText(property, "X-TOLVERN-REGENERATE");
        rule.regenerate =
            regenerate && regenerate->compare(QLatin1String("OIL"), Qt::CaseInsensitive) == 0;
        kept << ItemRecurrence::attachRecurrence(rule, m_event, true, true);
    }
    // A new item has no rule records the component could have dropped.
    if (kept.isEmpty() && m_source.fresh)
        return;
    ItemRecurrence recurrence(m_event);
    for (ExtraDataMO *record : recurrence.ruleRecords()) {
        if (!kept.contains(record))
            record->deleteExtra();
    }
    // The exception and extra dates belong to the rule records: without a
    // rule there is nothing to give them to.
    if (kept.isEmpty())
        return;
    recurrence.wasChangedBySettingAllExceptionDates(
        ICalDateReader::datesOfProperties(m_component, ICAL_EXDATE_PROPERTY, m_source.vcalendar));
    recurrence.wasChangedBySettingAllCustomDates(
        ICalDateReader::datesOfProperties(m_component, ICAL_RDATE_PROPERTY, m_source.vcalendar));
}

void EventReader::readClassAndTexts() {
    const std::optional<QString> classText = text(ICAL_CLASS_PROPERTY);
    const bool isPrivate =
        classText && classText->compare(QLatin1String("PUBLIC"), Qt::CaseInsensitive) != 0;
    setInteger(isPrivate ? 1 : 0, QStringLiteral("classification"));
    // The type and start are those readType and readDates set.
    const bool canBlock = ItemDates::canBlockTime(m_type, m_start.has_value());
    if (canBlock) {
        const std::optional<QString> transparency = text(ICAL_TRANSP_PROPERTY);
        const bool opaque = !transparency || transparency->compare(QLatin1String("OPAQUE"),
                                                                   Qt::CaseInsensitive) == 0;
        setInteger(opaque ? 1 : 0, QStringLiteral("blocksTime"));
    }
    if (const std::optional<QString> summary = text(ICAL_SUMMARY_PROPERTY)) {
        setPlainText(*summary, QStringLiteral("title"));
    } else if (!first(ICAL_SUMMARY_PROPERTY)) {
        const bool blocks = canBlock && m_event->integerValueForKey(QStringLiteral("blocksTime"));
        setPlainText(isPrivate ? QCoreApplication::translate("ICalEventReader", "[Private Event]")
                     : blocks  ? QCoreApplication::translate("ICalEventReader", "[Busy]")
                               : QCoreApplication::translate("ICalEventReader", "[Available]"),
                     QStringLiteral("title"));
    }
    if (const std::optional<QString> description = text(ICAL_DESCRIPTION_PROPERTY))
        setPlainText(*description, QStringLiteral("content"));
    else if (!first(ICAL_DESCRIPTION_PROPERTY))
        setPlainText(QString(), QStringLiteral("content"));
    readRichTexts();
}

void EventReader::readRichTexts() {
    // A rich copy counts only while its text is what SUMMARY / DESCRIPTION
    // say: another client's edit wins over a stale copy.
    for (const auto &[name, key] :
         {std::pair{"X-TOLVERN-SUMMARY", QStringLiteral("title")},
          std::pair{"X-TOLVERN-DESCRIPTION", QStringLiteral("content")}}) {
        icalproperty *property = xProperty(name);
        const std::optional<RichText> rich =
            property ? ICalPropertyReader::richTextFromProperty(property) : std::nullopt;
        if (rich && rich->text == m_event->stringValueForKey(key).value_or(QString()))
            setRichText(rich, key);
    }
    if (icalproperty *local = xProperty("X-TOLVERN-LOCAL-DESCRIPTION"))
        if (const std::optional<RichText> rich = ICalPropertyReader::richTextFromProperty(local))
            setRichText(rich, QStringLiteral("localContent"));
}

void EventReader::readPlace() {
    const std::optional<QString> location = text(ICAL_LOCATION_PROPERTY);
    std::optional<QString> locationURL = xText("X-TOLVERN-LOCATION-URL");
    if (location && isWebAddress(location->trimmed())) {
        locationURL = location->trimmed();
        setText(std::nullopt, QStringLiteral("location"));
    } else {
        setText(location, QStringLiteral("location"));
    }
    setText(locationURL, QStringLiteral("locationURL"));
    for (const auto &[name, key] :
         {std::pair{"X-APPLE-TRAVEL-DURATION", QStringLiteral("travelTimeBefore")},
          std::pair{"X-APPLE-TRAVEL-RETURN-DURATION", QStringLiteral("travelTimeAfter")}}) {
        const std::optional<QString> value = xText(name);
        const icaldurationtype duration =
            value ? icaldurationtype_from_string(value->trimmed().toUtf8().constData())
                  : icaldurationtype_null_duration();
        if (!icaldurationtype_is_bad_duration(duration))
            setInteger(icaldurationtype_as_int(duration), key);
    }
}

void EventReader::readStatusLinksAndTags() {
    const std::optional<QString> status = text(ICAL_STATUS_PROPERTY);
    setInteger(status ? ICalCodes::itemStatusOfName(status->trimmed()) : 0,
               QStringLiteral("status"));
    const std::optional<QString> url = text(ICAL_URL_PROPERTY);
    setText(url, QStringLiteral("url"));
    QStringList tags;
    for (icalproperty *property =
             icalcomponent_get_first_property(m_component, ICAL_CATEGORIES_PROPERTY);
         property;
         property = icalcomponent_get_next_property(m_component, ICAL_CATEGORIES_PROPERTY)) {
        for (const QString &tag :
             textOfProperty(property).value_or(QString()).split(QLatin1Char(','))) {
            const QString trimmed = tag.trimmed();
            if (!trimmed.isEmpty() && !trimmed.startsWith(kGoogleCategoryScheme))
                tags << trimmed;
        }
    }
    setTags(tags, QStringLiteral("tags"));
}

void EventReader::readProgress() {
    if (const std::optional<Date> created = instant(ICAL_CREATED_PROPERTY))
        setInstant(created, QStringLiteral("createTime"));
    icalproperty *priority = first(ICAL_PRIORITY_PROPERTY);
    setInteger(priority ? icalproperty_get_priority(priority) : 0, QStringLiteral("priority"));
    setInstant(instant(ICAL_COMPLETED_PROPERTY), QStringLiteral("completionTime"));
    icalproperty *percent = first(ICAL_PERCENTCOMPLETE_PROPERTY);
    setInteger(percent ? icalproperty_get_percentcomplete(percent) : 0,
               QStringLiteral("percentComplete"));
}

void EventReader::readOwnProperties() {
    const auto isWord = [this](const char *name, const char *word) {
        const std::optional<QString> value = xText(name);
        return value && value->trimmed().compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
    };
    setBool(isWord("X-TOLVERN-HOLIDAY-TYPE", "OBSERVED"), QStringLiteral("observedHoliday"));
    setBool(isWord("X-TOLVERN-MINIMIZED", "MINIMIZED"), QStringLiteral("localMinimized"));
    setBool(isWord("X-TOLVERN-HIDDEN", "HIDDEN"), QStringLiteral("localHidden"));
    setText(xText("X-TOLVERN-LOCAL-URL"), QStringLiteral("localURL"));
    if (const std::optional<QString> localTags = xText("X-TOLVERN-LOCAL-CATEGORIES")) {
        QStringList tags = localTags->split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (QString &tag : tags)
            tag = tag.trimmed();
        setTags(tags, QStringLiteral("localTags"));
    }
    if (const std::optional<QString> order = xText("X-TOLVERN-SORT-ORDER")) {
        bool ok = false;
        const qint64 value = order->trimmed().toLongLong(&ok);
        if (ok)
            setInteger(value, QStringLiteral("localSortOrder"));
    }
    if (const std::optional<QString> rect = xText("X-TOLVERN-RECT"))
        setText(QString(*rect).replace(QLatin1Char('/'), QLatin1Char(',')),
                QStringLiteral("cellRelativeRect"));
}

void EventReader::readStamps() {
    SyncableObjectMO *info = m_event->objectInfo();
    if (!info)
        return;
    std::optional<Date> modified = instant(ICAL_LASTMODIFIED_PROPERTY);
    if (!modified)
        modified = instant(ICAL_DTSTAMP_PROPERTY);
    if (modified)
        info->setDateValue(modified, QStringLiteral("lastModTime"));
    std::optional<QString> modifier = xText("X-TOLVERN-LASTMODBY");
    if (!modifier)
        modifier = modifierOfProduct(m_source.productID);
    if (modifier)
        info->setValue(QStringLiteral("lastModBy"), *modifier);
}

}  // namespace

namespace ICalEventReader {

bool eventFromComponent(CommonDataMO *event, const ICalEventSource &source) {
    try {
        EventReader(event, source).read();
        return true;
    } catch (const std::exception &error) {
        logError("ICalEventReader: cannot read %@: %s", event->uid(), error.what());
        return false;
    }
}

}  // namespace ICalEventReader
