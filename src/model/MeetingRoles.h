#pragma once

#include <QString>
#include <QStringList>

class CommonDataMO;
class ExtraDataMO;
class ModelObject;

// The user's part in a meeting, and who sends its invitations and replies,
// asked of an item (or, for the scheduling questions, of a calendar). An
// item is a meeting when it has organizer and attendee records; the user is
// recognised by the addresses of the calendar's account (asked of the
// CalDAV or Exchange engine) or of the user's own contact card
// (OwnAddresses). Addresses are compared without regard to case. Without a
// registered engine a CalDAV or Exchange calendar is treated as local.
// Main thread only.
class MeetingRoles {
public:
    // `object` is a calendar's or an item's data object.
    explicit MeetingRoles(CommonDataMO *object);

    // --- Who schedules.
    // The server sends the invitations and replies of the item.
    bool controlledByCalDAVAutoScheduling() const;
    // The program posts them to the server's outbox.
    bool controlledByCalDAVOldScheduling() const;
    bool controlledByCalDAVAnyScheduling() const;
    bool caldavOldSchedulingBrokenForCancel() const;
    bool attendeeMustMatchUser() const;
    // An Exchange calendar, or an item on one that did not come by mail.
    bool controlledByExchangeScheduling() const;

    // --- The user.
    // CalDAV scheduling: the engine's addresses of the user; Exchange
    // scheduling: the engine's best address (none: empty); otherwise the
    // contact card's addresses.
    QStringList localUserAddresses() const;
    bool isLocalEmail(const QString &address) const;
    // The calendar owner's address (empty when nobody knows one) and name:
    // from the scheduling engine, else the contact card's first address and
    // the user's name (CurrentUser).
    void getCalendarOwnerEmail(QString *email, QString *name) const;

    // --- The user's records in the meeting.
    ExtraDataMO *ourOrganizerExtra() const;
    ExtraDataMO *ourAttendeeExtra() const;
    // The status of ourAttendeeExtra(); 0 when the user is no attendee.
    qint64 ourAttendeeStatus() const;
    // True for an item that is not a meeting (no organizer or no attendee).
    bool weAreTheOrganizer() const;
    // Some organizer record is the same person as the attendee (both are
    // the user's own addresses, or equal); empty addresses never match.
    bool attendeeIsOrganizer(const ExtraDataMO *attendee) const;
    // The attendee's address is a local address of its item.
    static bool weAreTheAttendee(const ExtraDataMO *attendee);
    // The user has not answered (status 1) and the item is not cancelled.
    bool isPendingInvitation() const;
    // Shown tentatively (`blocksTime` 2) or not firmly accepted (status 1
    // or 2), and not cancelled.
    bool isPendingInvitationOrTentativeMeeting() const;
    // The first organizer record, or nullptr.
    ExtraDataMO *anyOrganizer() const;
    // The meeting arrived by mail: its organizer has `localFromITIP`.
    bool cameByMail() const;

    // --- Taking over a meeting.
    // The item's `access` becomes 5 (never limiting); the organizer record
    // and the attendee that stands for the user (same address, else the
    // closest name within a distance of 3) get the calendar owner's address
    // and name.
    void becomeOrganizer();
    // The first attendee with a contact-card address gets the CalDAV
    // engine's best address for the calendar and its name; nothing without
    // one or on other calendars.
    void becomeAttendee();

private:
    QList<ExtraDataMO *> extras(const char *relationship) const;
    ExtraDataMO *firstWithLocalEmail(const char *relationship) const;
    qint64 itemStatus() const;

    CommonDataMO *m_object;
    CommonDataMO *m_calendar;
    const ModelObject *m_owner;
};
