#include "ical/ICalPeopleReader.h"

#include <libical/ical.h>
#include <QSet>

#include "ical/ICalCodes.h"
#include "ical/ICalEventReader.h"
#include "ical/ICalPropertyReader.h"
#include "ical/ICalReadOptions.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Schema.h"

namespace {

using ICalPropertyReader::isWord;
using ICalPropertyReader::parameterText;
using ICalPropertyReader::parameterTextOfKind;

// The address of a calendar user without its "mailto:".
QString addressOf(icalproperty *property) {
    QString address = ICalPropertyReader::textOfProperty(property).value_or(QString()).trimmed();
    if (address.startsWith(QLatin1String("mailto:"), Qt::CaseInsensitive))
        address = address.mid(7);
    return address;
}

// CN and the directory address (EMAIL) of a person.
void readNameAndDirectory(ExtraDataMO *person, icalproperty *property) {
    const std::optional<QString> name = parameterTextOfKind(property, ICAL_CN_PARAMETER);
    person->setValue(QStringLiteral("name"), name ? QVariant(*name) : QVariant());
    std::optional<QString> directory = parameterTextOfKind(property, ICAL_EMAIL_PARAMETER);
    if (directory && directory->startsWith(QLatin1Char('/')) &&
        !directory->endsWith(QLatin1Char('/')))
        directory->append(QLatin1Char('/'));
    person->setValue(QStringLiteral("directoryURL"), directory ? QVariant(*directory) : QVariant());
}

qint64 attendeeCode(icalproperty *property, int kind, qint64 (*code)(const QString &),
                    qint64 fallback) {
    const std::optional<QString> word = parameterTextOfKind(property, kind);
    return word ? code(*word) : fallback;
}

void readAttendee(ExtraDataMO *attendee, icalproperty *property) {
    readNameAndDirectory(attendee, property);
    attendee->setIntegerValue(
        attendeeCode(property, ICAL_PARTSTAT_PARAMETER, ICalCodes::participationStatusOfName, 1),
        QStringLiteral("status"));
    attendee->setIntegerValue(
        attendeeCode(property, ICAL_CUTYPE_PARAMETER, ICalCodes::attendeeTypeOfName, 0),
        QStringLiteral("attendeeType"));
    attendee->setIntegerValue(attendeeCode(property, ICAL_ROLE_PARAMETER, ICalCodes::roleOfName, 0),
                              QStringLiteral("role"));
    attendee->setBoolValue(isWord(parameterTextOfKind(property, ICAL_RSVP_PARAMETER), "TRUE"),
                           QStringLiteral("rsvp"));
    attendee->assignUIDIfNeeded();
}

void readOrganizer(ExtraDataMO *organizer, icalproperty *property, icalcomponent *component) {
    readNameAndDirectory(organizer, property);
    const char *uid = icalcomponent_get_uid(component);
    organizer->setValue(QStringLiteral("meetingUID"),
                        uid ? QVariant(QString::fromUtf8(uid)) : QVariant());
    organizer->assignUIDIfNeeded();
    icalproperty *sequence = icalcomponent_get_first_property(component, ICAL_SEQUENCE_PROPERTY);
    const qint64 number = sequence ? icalproperty_get_sequence(sequence) : 0;
    organizer->setIntegerValue(number, QStringLiteral("localSequence"));
    organizer->setIntegerValue(number, QStringLiteral("localRequestSequence"));
    organizer->setBoolValue(
        isWord(parameterTextOfKind(property, ICAL_SCHEDULEAGENT_PARAMETER), "CLIENT"),
        QStringLiteral("localFromITIP"));
}

void readContact(ExtraDataMO *link, icalproperty *property) {
    const auto word = [property](const char *name, std::optional<qint64> (*code)(const QString &)) {
        const std::optional<QString> text = parameterText(property, name);
        return text ? code(*text) : std::nullopt;
    };
    if (const std::optional<qint64> type = word("X-CONTACT-TYPE", ICalCodes::contactTypeOfName))
        link->setIntegerValue(*type, QStringLiteral("contactType"));
    if (const std::optional<qint64> order = word("X-NAME-ORDER", ICalCodes::nameOrderOfName))
        link->setIntegerValue(*order, QStringLiteral("nameOrder"));
    for (const auto &[name, key] :
         {std::pair{"X-FIRST", "firstName"}, std::pair{"X-LAST", "lastName"},
          std::pair{"X-EMAIL", "primaryEmail"}, std::pair{"X-PHONE", "primaryPhone"},
          std::pair{"X-COMPANY", "company"}}) {
        const std::optional<QString> value = parameterText(property, name);
        link->setValue(QLatin1String(key), value ? QVariant(*value) : QVariant());
    }
}

void deleteUnnamed(CommonDataMO *event, const QString &relationship,
                   const QSet<ExtraDataMO *> &named, bool keepLocal) {
    for (ExtraDataMO *record : event->extrasForRelationship(relationship)) {
        if (!named.contains(record) && !(keepLocal && record->isLocalOnly()))
            record->deleteExtra();
    }
}

}  // namespace

namespace ICalPeopleReader {

void readPeople(CommonDataMO *event, const ICalEventSource &source) {
    icalcomponent *component = source.component;
    // Only records the item had before can be ones the component dropped
    // (a new item has none): only then are the records it names gathered.
    const bool hadRecords = !event->objectsForKey(QLatin1String(Schema::kExtrasKey)).isEmpty();
    QSet<ExtraDataMO *> named;
    bool anyAttendee = false;
    for (icalproperty *property =
             icalcomponent_get_first_property(component, ICAL_ATTENDEE_PROPERTY);
         property; property = icalcomponent_get_next_property(component, ICAL_ATTENDEE_PROPERTY)) {
        const QString address = addressOf(property);
        if (address.isEmpty())
            continue;
        ExtraDataMO *attendee = ExtraDataMO::attachAttendee(address, event);
        readAttendee(attendee, property);
        anyAttendee = true;
        if (hadRecords)
            named.insert(attendee);
    }
    const bool readOrganizerAtAll =
        anyAttendee || (source.options & ICalReadOptions::OrganizerAlways);
    icalproperty *organizerProperty =
        readOrganizerAtAll ? icalcomponent_get_first_property(component, ICAL_ORGANIZER_PROPERTY)
                           : nullptr;
    const QString organizerAddress = organizerProperty ? addressOf(organizerProperty) : QString();
    if (!organizerAddress.isEmpty()) {
        ExtraDataMO *organizer = ExtraDataMO::attachOrganizer(organizerAddress, event);
        readOrganizer(organizer, organizerProperty, component);
        if (hadRecords)
            named.insert(organizer);
    }
    if (hadRecords) {
        deleteUnnamed(event, QStringLiteral("attendees"), named, false);
        deleteUnnamed(event, QStringLiteral("organizers"), named, false);
    }

    QSet<ExtraDataMO *> links;
    for (icalproperty *property = icalcomponent_get_first_property(component, ICAL_X_PROPERTY);
         property; property = icalcomponent_get_next_property(component, ICAL_X_PROPERTY)) {
        if (ICalPropertyReader::propertyName(property).compare(QLatin1String("X-TOLVERN-CONTACT"),
                                                               Qt::CaseInsensitive) != 0)
            continue;
        const QString contactID =
            ICalPropertyReader::textOfProperty(property).value_or(QString()).trimmed();
        if (contactID.isEmpty())
            continue;
        const bool local = isWord(parameterText(property, "X-SCOPE"), "LOCAL");
        ExtraDataMO *link = ExtraDataMO::attachContact(contactID, event, local);
        readContact(link, property);
        if (hadRecords)
            links.insert(link);
    }
    // Local links travel only in this machine's own copies: keep them.
    if (hadRecords)
        deleteUnnamed(event, QStringLiteral("contacts"), links, true);
}

}  // namespace ICalPeopleReader
