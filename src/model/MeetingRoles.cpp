#include "model/MeetingRoles.h"

#include <optional>

#include "model/CalDAVEngine.h"
#include "model/CommonDataMO.h"
#include "model/CurrentUser.h"
#include "model/ExchangeEngine.h"
#include "model/ExtraDataMO.h"
#include "model/ItemCodes.h"
#include "model/ServiceEngines.h"
#include "model/util/OwnAddresses.h"
#include "model/util/TextCompare.h"

namespace {
constexpr qint64 kTentativeBlocksTime = 2;
constexpr qint64 kAccessAboveAll = 5;
constexpr qsizetype kNameDistanceLimit = 3;

const QString kEmail = QStringLiteral("email");
const QString kName = QStringLiteral("name");

QString emailOf(const ExtraDataMO *person) {
    return person->valueForKey(kEmail).toString();
}

void setPerson(ExtraDataMO *person, const QString &email, const QString &name) {
    person->setValue(kEmail, email.isEmpty() ? QVariant() : QVariant(email));
    person->setValue(kName, name.isEmpty() ? QVariant() : QVariant(name));
}

// The attendee whose name is closest to `name`, below the limit; the first
// of equals.
ExtraDataMO *closestByName(const QList<ExtraDataMO *> &attendees, const QString &name) {
    ExtraDataMO *best = nullptr;
    qsizetype bestDistance = kNameDistanceLimit;
    for (ExtraDataMO *attendee : attendees) {
        const qsizetype distance = fuzzyCompare(attendee->valueForKey(kName).toString(), name);
        if (distance < bestDistance) {
            best = attendee;
            bestDistance = distance;
        }
    }
    return best;
}
}  // namespace

MeetingRoles::MeetingRoles(CommonDataMO *object)
    : m_object(object), m_calendar(object->parentContainer()), m_owner(object->owningService()) {}

QList<ExtraDataMO *> MeetingRoles::extras(const char *relationship) const {
    if (!m_object->isChild())
        return {};
    return m_object->extrasForRelationship(QString::fromLatin1(relationship));
}

qint64 MeetingRoles::itemStatus() const {
    return m_object->isChild() ? m_object->integerValueForKey(QStringLiteral("status")) : 0;
}

ExtraDataMO *MeetingRoles::anyOrganizer() const {
    const QList<ExtraDataMO *> organizers = extras("organizers");
    return organizers.isEmpty() ? nullptr : organizers.first();
}

bool MeetingRoles::cameByMail() const {
    const ExtraDataMO *organizer = anyOrganizer();
    return organizer && organizer->boolValueForKey(QStringLiteral("localFromITIP"));
}

// --- Who schedules ---------------------------------------------------------------

bool MeetingRoles::controlledByCalDAVAutoScheduling() const {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    if (!engine || !engine->supportsAutoScheduling(m_owner))
        return false;
    if (!m_object->isChild() || !cameByMail())
        return true;
    if (engine->supportsScheduleAgent(m_owner))
        return false;
    const QStringList addresses =
        engine->userAddressesForCalendar(m_calendar, std::nullopt, m_owner);
    for (const ExtraDataMO *attendee : extras("attendees")) {
        if (addresses.contains(emailOf(attendee), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

bool MeetingRoles::controlledByCalDAVOldScheduling() const {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    return engine && !engine->supportsAutoScheduling(m_owner) &&
           engine->supportsOldScheduling(m_owner);
}

bool MeetingRoles::controlledByCalDAVAnyScheduling() const {
    return controlledByCalDAVAutoScheduling() || controlledByCalDAVOldScheduling();
}

bool MeetingRoles::caldavOldSchedulingBrokenForCancel() const {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    return engine && engine->oldOutboxBrokenForCancel(m_owner);
}

bool MeetingRoles::attendeeMustMatchUser() const {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    return engine && engine->attendeeMustMatchUser(m_owner);
}

bool MeetingRoles::controlledByExchangeScheduling() const {
    if (!ServiceEngines::shared().exchangeEngineFor(m_owner))
        return false;
    return !m_object->isChild() || !cameByMail();
}

// --- The user --------------------------------------------------------------------

QStringList MeetingRoles::localUserAddresses() const {
    const ServiceEngines &engines = ServiceEngines::shared();
    if (controlledByCalDAVAnyScheduling())
        return engines.calDAVEngineFor(m_owner)->userAddressesForCalendar(m_calendar, std::nullopt,
                                                                          m_owner);
    if (controlledByExchangeScheduling()) {
        const std::optional<QString> best =
            engines.exchangeEngineFor(m_owner)->bestUserAddressForContainer(m_calendar, nullptr,
                                                                            m_owner);
        return best ? QStringList{*best} : QStringList();
    }
    return OwnAddresses::addresses();
}

bool MeetingRoles::isLocalEmail(const QString &address) const {
    return !address.isEmpty() && localUserAddresses().contains(address, Qt::CaseInsensitive);
}

void MeetingRoles::getCalendarOwnerEmail(QString *email, QString *name) const {
    const ServiceEngines &engines = ServiceEngines::shared();
    QString engineName;
    std::optional<QString> address;
    if (controlledByCalDAVAnyScheduling())
        address = engines.calDAVEngineFor(m_owner)->bestUserAddressForCalendar(
            m_calendar, &engineName, m_owner, std::nullopt);
    else if (controlledByExchangeScheduling())
        address = engines.exchangeEngineFor(m_owner)->bestUserAddressForContainer(
            m_calendar, &engineName, m_owner);
    if (!address || address->isEmpty()) {
        const QStringList card = OwnAddresses::addresses();
        address = card.isEmpty() ? QString() : card.first();
    }
    if (email)
        *email = *address;
    if (name)
        *name = engineName.isEmpty() ? CurrentUser::name() : engineName;
}

// --- The user's records ----------------------------------------------------------

ExtraDataMO *MeetingRoles::firstWithLocalEmail(const char *relationship) const {
    const QList<ExtraDataMO *> people = extras(relationship);
    if (people.isEmpty())
        return nullptr;
    const QStringList addresses = localUserAddresses();
    for (ExtraDataMO *person : people) {
        const QString email = emailOf(person);
        if (!email.isEmpty() && addresses.contains(email, Qt::CaseInsensitive))
            return person;
    }
    return nullptr;
}

ExtraDataMO *MeetingRoles::ourOrganizerExtra() const {
    return firstWithLocalEmail("organizers");
}

ExtraDataMO *MeetingRoles::ourAttendeeExtra() const {
    return firstWithLocalEmail("attendees");
}

qint64 MeetingRoles::ourAttendeeStatus() const {
    const ExtraDataMO *attendee = ourAttendeeExtra();
    return attendee ? attendee->integerValueForKey(QStringLiteral("status")) : 0;
}

bool MeetingRoles::weAreTheOrganizer() const {
    if (extras("organizers").isEmpty() || extras("attendees").isEmpty())
        return true;
    return ourOrganizerExtra() != nullptr;
}

bool MeetingRoles::attendeeIsOrganizer(const ExtraDataMO *attendee) const {
    const QString attendeeEmail = emailOf(attendee);
    if (attendeeEmail.isEmpty())
        return false;
    for (const ExtraDataMO *organizer : extras("organizers")) {
        const QString organizerEmail = emailOf(organizer);
        if (!organizerEmail.isEmpty() && addressesEqual(organizerEmail, attendeeEmail))
            return true;
    }
    return false;
}

bool MeetingRoles::weAreTheAttendee(const ExtraDataMO *attendee) {
    CommonDataMO *item = attendee->parentObject();
    return item && MeetingRoles(item).isLocalEmail(emailOf(attendee));
}

bool MeetingRoles::isPendingInvitation() const {
    return ourAttendeeStatus() == StatusCode::NeedsAction && itemStatus() != StatusCode::Cancelled;
}

bool MeetingRoles::isPendingInvitationOrTentativeMeeting() const {
    if (itemStatus() == StatusCode::Cancelled)
        return false;
    if (m_object->isChild() &&
        m_object->integerValueForKey(QStringLiteral("blocksTime")) == kTentativeBlocksTime)
        return true;
    const qint64 status = ourAttendeeStatus();
    return status == StatusCode::NeedsAction || status == StatusCode::Tentative;
}

// --- Taking over a meeting -------------------------------------------------------

void MeetingRoles::becomeOrganizer() {
    m_object->setIntegerValue(kAccessAboveAll, QStringLiteral("access"));
    ExtraDataMO *organizer = anyOrganizer();
    if (!organizer)
        return;
    QString email;
    QString name;
    getCalendarOwnerEmail(&email, &name);
    setPerson(organizer, email, name);

    const QList<ExtraDataMO *> attendees = extras("attendees");
    ExtraDataMO *us = nullptr;
    for (ExtraDataMO *attendee : attendees) {
        if (!email.isEmpty() && stringsEqualIgnoringCase(emailOf(attendee), email)) {
            us = attendee;
            break;
        }
    }
    if (!us)
        us = closestByName(attendees, name);
    if (us)
        setPerson(us, email, name);
}

void MeetingRoles::becomeAttendee() {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    if (!engine)
        return;
    for (ExtraDataMO *attendee : extras("attendees")) {
        if (!OwnAddresses::contains(emailOf(attendee)))
            continue;
        QString name;
        const std::optional<QString> best =
            engine->bestUserAddressForCalendar(m_calendar, &name, m_owner, std::nullopt);
        if (best && !best->isEmpty())
            setPerson(attendee, *best, name);
        return;
    }
}
