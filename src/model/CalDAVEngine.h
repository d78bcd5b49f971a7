#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "model/ServiceEngine.h"

class CommonDataMO;
class ModelObject;

// The questions the object model asks of the CalDAV engine about one CalDAV
// account (`caldavService`) and its calendars. Every answer comes from what
// the engine learnt from the server; none of them changes the store.
class CalDAVEngine : public ServiceEngine {
public:
    // The providers whose accounts are named after them.
    enum class ServerType { Generic, ICloud, Google, Fruux, Yahoo };

    virtual ServerType serverType(const ModelObject *caldavService) const = 0;

    // The kind of a calendar of the account, as the engine classifies it from
    // what the server said of it. A calendar of kind kFullAccessCalendarType
    // is the user's to manage in full, whatever the privileges recorded for
    // it.
    static constexpr int kFullAccessCalendarType = 3;
    virtual int typeOfCalendar(const CommonDataMO *calendar,
                               const ModelObject *caldavService) const = 0;
    // The server keeps files attached to items.
    virtual bool supportsAttachments(const ModelObject *caldavService) const = 0;

    // The server sends invitations and replies itself (implicit scheduling).
    virtual bool supportsAutoScheduling(const ModelObject *caldavService) const = 0;
    // The server offers the scheduling outbox that the client posts to.
    virtual bool supportsOldScheduling(const ModelObject *caldavService) const = 0;
    // The server honours SCHEDULE-AGENT=CLIENT.
    virtual bool supportsScheduleAgent(const ModelObject *caldavService) const = 0;
    // Cancellations posted to the server's outbox do not reach the attendees.
    virtual bool oldOutboxBrokenForCancel(const ModelObject *caldavService) const = 0;
    // The server refuses meetings in which no attendee is the account's user.
    virtual bool attendeeMustMatchUser(const ModelObject *caldavService) const = 0;

    // The addresses by which the server knows the user on `calendar`;
    // `userName` narrows them to one name when given.
    virtual QStringList userAddressesForCalendar(const CommonDataMO *calendar,
                                                 const std::optional<QString> &userName,
                                                 const ModelObject *caldavService) const = 0;
    // The address to use for the user on `calendar` (none when the server
    // gave none) and, through `userName` when given, the name that goes with
    // it (empty when unknown). `preferEmail` picks a "mailto:" address over
    // others; none leaves the choice to the engine.
    virtual std::optional<QString> bestUserAddressForCalendar(
        const CommonDataMO *calendar, QString *userName, const ModelObject *caldavService,
        std::optional<bool> preferEmail) const = 0;

    virtual bool supportsProximityAlarmsForEventType(int eventType, const CommonDataMO *calendar,
                                                     const ModelObject *caldavService) const = 0;
    // The server itself sends the e-mail of "send e-mail" reminders.
    virtual bool serverIssuesEmailAlarms(const ModelObject *caldavService) const = 0;
    virtual bool supportsMeetingsOnCalendar(const CommonDataMO *calendar,
                                            const ModelObject *caldavService) const = 0;
    virtual bool supportsPrivateEventsOnCalendar(const CommonDataMO *calendar,
                                                 const ModelObject *caldavService) const = 0;
};
