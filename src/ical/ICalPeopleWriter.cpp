#include "ical/ICalPeopleWriter.h"

#include <QStringList>

#include "ical/ICalCodes.h"
#include "ical/ICalEventWriter.h"
#include "ical/ICalProperties.h"
#include "ical/ICalTextWriter.h"
#include "ical/ICalWriteOptions.h"
#include "model/CommonDataMO.h"
#include "model/CurrentUser.h"
#include "model/ExtraDataMO.h"
#include "model/MeetingRoles.h"
#include "model/util/OwnAddresses.h"

namespace {

void writeParameterIfAny(ICalTextWriter &writer, const char *name, const QString &value) {
    if (!value.isEmpty())
        writer.parameter(name, value);
}

void writeParameterIfAny(ICalTextWriter &writer, const char *name, const char *value) {
    if (value && *value)
        writer.parameter(name, QLatin1String(value));
}

// CN and the directory address (carried in EMAIL) of a person.
void writeNameAndDirectory(ICalTextWriter &writer, const ExtraDataMO *person) {
    writeParameterIfAny(writer, "CN", ICalProperties::textField(person, QStringLiteral("name")));
    writeParameterIfAny(writer, "EMAIL",
                        ICalProperties::textField(person, QStringLiteral("directoryURL")));
}

void writeParticipation(ICalTextWriter &writer, qint64 status) {
    writeParameterIfAny(writer, "PARTSTAT", ICalCodes::participationStatusName(status));
}

void writeAttendee(ICalTextWriter &writer, const ExtraDataMO *attendee, bool forceRSVP,
                   const QString &organizerEmail, const QString &callerAddress) {
    const QString &email = ICalProperties::textField(attendee, QStringLiteral("email"));
    writer.property("ATTENDEE");
    if (!callerAddress.isEmpty() && email.compare(organizerEmail, Qt::CaseInsensitive) == 0) {
        writeParticipation(writer, attendee->integerValueForKey(QStringLiteral("status")));
        writer.address(callerAddress);
        return;
    }
    writeNameAndDirectory(writer, attendee);
    writeParticipation(writer, attendee->integerValueForKey(QStringLiteral("status")));
    writeParameterIfAny(
        writer, "CUTYPE",
        ICalCodes::attendeeTypeName(attendee->integerValueForKey(QStringLiteral("attendeeType"))));
    writeParameterIfAny(writer, "ROLE",
                        ICalCodes::roleName(attendee->integerValueForKey(QStringLiteral("role"))));
    if (forceRSVP || attendee->boolValueForKey(QStringLiteral("rsvp")))
        writer.parameter("RSVP", QLatin1String("TRUE"));
    writer.address(email);
}

}  // namespace

namespace ICalPeopleWriter {

void writeContacts(ICalTextWriter &writer, ICalItemExtras::View contacts, bool local) {
    for (const ExtraDataMO *link : contacts) {
        const bool isLocal = link->isLocalOnly();
        if (isLocal && !local)
            continue;
        const QString &contactID = ICalProperties::textField(link, QStringLiteral("contactID"));
        if (contactID.isEmpty())
            continue;
        writer.property("X-TOLVERN-CONTACT");
        if (isLocal)
            writer.parameter("X-SCOPE", QLatin1String("LOCAL"));
        writeParameterIfAny(
            writer, "X-CONTACT-TYPE",
            ICalCodes::contactTypeName(link->integerValueForKey(QStringLiteral("contactType"))));
        writeParameterIfAny(
            writer, "X-NAME-ORDER",
            ICalCodes::nameOrderName(link->integerValueForKey(QStringLiteral("nameOrder"))));
        writeParameterIfAny(writer, "X-FIRST",
                            ICalProperties::textField(link, QStringLiteral("firstName")));
        writeParameterIfAny(writer, "X-LAST",
                            ICalProperties::textField(link, QStringLiteral("lastName")));
        writeParameterIfAny(writer, "X-EMAIL",
                            ICalProperties::textField(link, QStringLiteral("primaryEmail")));
        writeParameterIfAny(writer, "X-PHONE",
                            ICalProperties::textField(link, QStringLiteral("primaryPhone")));
        writeParameterIfAny(writer, "X-COMPANY",
                            ICalProperties::textField(link, QStringLiteral("company")));
        writer.plainText(contactID);
    }
}

void writePeople(ICalTextWriter &writer, const ICalEventRequest &request,
                 const ExtraDataMO *organizer, ICalItemExtras::View attendees) {
    CommonDataMO *event = request.event;
    const bool callerIsOrganizer = request.options & ICalWriteOptions::CallerIsOrganizer;
    const QString callerAddress = callerIsOrganizer ? request.callerAddress : QString();
    if (organizer) {
        const QString email = callerIsOrganizer
                                  ? callerAddress
                                  : ICalProperties::textField(organizer, QStringLiteral("email"));
        writer.property("ORGANIZER");
        writeNameAndDirectory(writer, organizer);
        if ((request.options & ICalWriteOptions::ClientScheduling) &&
            organizer->boolValueForKey(QStringLiteral("localFromITIP")))
            writer.parameter("SCHEDULE-AGENT", QLatin1String("CLIENT"));
        writer.address(email);
    } else if (request.method == ICalMethod::Publish) {
        const QStringList addresses = OwnAddresses::addresses();
        if (!addresses.isEmpty()) {
            writer.property("ORGANIZER");
            writeParameterIfAny(writer, "CN", CurrentUser::name());
            writer.raw(QStringLiteral("mailto:") + addresses.first());
        }
    }
    if (request.method == ICalMethod::Reply) {
        const ExtraDataMO *ours = MeetingRoles(event).ourAttendeeExtra();
        if (!ours)
            return;
        writer.property("ATTENDEE");
        writeNameAndDirectory(writer, ours);
        const bool declines = request.options & ICalWriteOptions::kDeclineMask;
        writeParticipation(writer,
                           declines ? 9 : ours->integerValueForKey(QStringLiteral("status")));
        writer.address(ICalProperties::textField(ours, QStringLiteral("email")));
        return;
    }
    const QString organizerEmail =
        organizer ? ICalProperties::textField(organizer, QStringLiteral("email")) : QString();
    for (const ExtraDataMO *attendee : attendees)
        writeAttendee(writer, attendee, request.method == ICalMethod::Request, organizerEmail,
                      callerAddress);
}

}  // namespace ICalPeopleWriter
