#include "ical/ICalPeopleWriter.h"

#include <QStringList>

#include "ical/ICalCodes.h"
#include "ical/ICalEventWriter.h"
#include "ical/ICalProperties.h"
#include "ical/ICalWriteOptions.h"
#include "model/CommonDataMO.h"
#include "model/CurrentUser.h"
#include "model/ExtraDataMO.h"
#include "model/MeetingRoles.h"
#include "model/util/OwnAddresses.h"

namespace {

void addParameterIfAny(icalproperty *property, const char *name, const QString &value) {
    if (!value.isEmpty())
        ICalProperties::addParameter(property, QLatin1String(name), value);
}

// A parameter the library knows, by its kind: what addParameter() writes,
// without looking the name up (every attendee has a few).
void addKnownParameter(icalproperty *property, icalparameter_kind kind, const char *value) {
    if (!value || !*value)
        return;
    if (icalparameter *parameter = icalparameter_new_from_value_string(kind, value))
        icalproperty_add_parameter(property, parameter);
    else
        ICalProperties::addParameter(property, QLatin1String(icalparameter_kind_to_string(kind)),
                                     QString::fromUtf8(value));
}

// CN and the directory address (carried in EMAIL) of a person.
void addNameAndDirectory(icalproperty *property, const ExtraDataMO *person) {
    addKnownParameter(property, ICAL_CN_PARAMETER,
                      ICalProperties::textField(person, "name").toUtf8().constData());
    addKnownParameter(property, ICAL_EMAIL_PARAMETER,
                      ICalProperties::textField(person, "directoryURL").toUtf8().constData());
}

void addParticipation(icalproperty *property, qint64 status) {
    addKnownParameter(property, ICAL_PARTSTAT_PARAMETER,
                      ICalCodes::participationStatusName(status));
}

void addAttendee(icalcomponent *component, const ExtraDataMO *attendee, bool forceRSVP,
                 const QString &organizerEmail, const QString &callerAddress) {
    const QString email = ICalProperties::textField(attendee, "email");
    if (!callerAddress.isEmpty() && email.compare(organizerEmail, Qt::CaseInsensitive) == 0) {
        icalproperty *property = icalproperty_new_attendee(
            ICalProperties::calendarAddress(callerAddress).toUtf8().constData());
        addParticipation(property, attendee->integerValueForKey(QStringLiteral("status")));
        icalcomponent_add_property(component, property);
        return;
    }
    icalproperty *property =
        icalproperty_new_attendee(ICalProperties::calendarAddress(email).toUtf8().constData());
    addNameAndDirectory(property, attendee);
    addParticipation(property, attendee->integerValueForKey(QStringLiteral("status")));
    addKnownParameter(
        property, ICAL_CUTYPE_PARAMETER,
        ICalCodes::attendeeTypeName(attendee->integerValueForKey(QStringLiteral("attendeeType"))));
    addKnownParameter(property, ICAL_ROLE_PARAMETER,
                      ICalCodes::roleName(attendee->integerValueForKey(QStringLiteral("role"))));
    if (forceRSVP || attendee->boolValueForKey(QStringLiteral("rsvp")))
        icalproperty_add_parameter(property, icalparameter_new_rsvp(ICAL_RSVP_TRUE));
    icalcomponent_add_property(component, property);
}

}  // namespace

namespace ICalPeopleWriter {

void addContacts(icalcomponent *component, const CommonDataMO *event, bool local) {
    for (const ExtraDataMO *link : event->extrasForRelationship(QStringLiteral("contacts"))) {
        const bool isLocal = link->isLocalOnly();
        if (isLocal && !local)
            continue;
        icalproperty *property = ICalProperties::addXProperty(
            component, "X-TOLVERN-CONTACT", ICalProperties::textField(link, "contactID"));
        if (!property)
            continue;
        if (isLocal)
            ICalProperties::addParameter(property, QStringLiteral("X-SCOPE"),
                                         QStringLiteral("LOCAL"));
        if (const char *type =
                ICalCodes::contactTypeName(link->integerValueForKey(QStringLiteral("contactType"))))
            ICalProperties::addParameter(property, QStringLiteral("X-CONTACT-TYPE"),
                                         QLatin1String(type));
        if (const char *order =
                ICalCodes::nameOrderName(link->integerValueForKey(QStringLiteral("nameOrder"))))
            ICalProperties::addParameter(property, QStringLiteral("X-NAME-ORDER"),
                                         QLatin1String(order));
        addParameterIfAny(property, "X-FIRST", ICalProperties::textField(link, "firstName"));
        addParameterIfAny(property, "X-LAST", ICalProperties::textField(link, "lastName"));
        addParameterIfAny(property, "X-EMAIL", ICalProperties::textField(link, "primaryEmail"));
        addParameterIfAny(property, "X-PHONE", ICalProperties::textField(link, "primaryPhone"));
        addParameterIfAny(property, "X-COMPANY", ICalProperties::textField(link, "company"));
    }
}

void addPeople(icalcomponent *component, const ICalEventRequest &request,
               const ExtraDataMO *organizer) {
    CommonDataMO *event = request.event;
    const bool callerIsOrganizer = request.options & ICalWriteOptions::CallerIsOrganizer;
    const QString callerAddress = callerIsOrganizer ? request.callerAddress : QString();
    if (organizer) {
        const QString email =
            callerIsOrganizer ? callerAddress : ICalProperties::textField(organizer, "email");
        icalproperty *property =
            icalproperty_new_organizer(ICalProperties::calendarAddress(email).toUtf8().constData());
        addNameAndDirectory(property, organizer);
        if ((request.options & ICalWriteOptions::ClientScheduling) &&
            organizer->boolValueForKey(QStringLiteral("localFromITIP")))
            icalproperty_add_parameter(property,
                                       icalparameter_new_scheduleagent(ICAL_SCHEDULEAGENT_CLIENT));
        icalcomponent_add_property(component, property);
    } else if (request.method == ICalMethod::Publish) {
        const QStringList addresses = OwnAddresses::addresses();
        if (!addresses.isEmpty()) {
            icalproperty *property = icalproperty_new_organizer(
                (QStringLiteral("mailto:") + addresses.first()).toUtf8().constData());
            addParameterIfAny(property, "CN", CurrentUser::name());
            icalcomponent_add_property(component, property);
        }
    }
    if (request.method == ICalMethod::Reply) {
        const ExtraDataMO *ours = MeetingRoles(event).ourAttendeeExtra();
        if (!ours)
            return;
        icalproperty *property = icalproperty_new_attendee(
            ICalProperties::calendarAddress(ICalProperties::textField(ours, "email"))
                .toUtf8()
                .constData());
        addNameAndDirectory(property, ours);
        const bool declines = request.options & ICalWriteOptions::kDeclineMask;
        addParticipation(property,
                         declines ? 9 : ours->integerValueForKey(QStringLiteral("status")));
        icalcomponent_add_property(component, property);
        return;
    }
    const QString organizerEmail =
        organizer ? ICalProperties::textField(organizer, "email") : QString();
    for (const ExtraDataMO *attendee : event->extrasForRelationship(QStringLiteral("attendees")))
        addAttendee(component, attendee, request.method == ICalMethod::Request, organizerEmail,
                    callerAddress);
}

}  // namespace ICalPeopleWriter
