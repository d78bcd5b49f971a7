#pragma once

#include <QtGlobal>

// What a writer of iCalendar adds or leaves out, as bits that callers
// combine (sync tasks, mail, export, backup).
namespace ICalWriteOptions {

enum : quint32 {
    // With a scheduling method other than PUBLISH or REQUEST: STATUS:CANCELLED.
    Cancelling = 0x1,
    // The RECURRENCE-ID gets RANGE=THISANDFUTURE.
    ThisAndFuture = 0x2,
    // Data kept on this machine only: local notes, URL, tags, reminders,
    // contacts, sort order, minimised and hidden state.
    LocalData = 0x4,
    // Journal entries as VEVENT with X-TOLVERN-EVENT-TYPE:JOURNAL.
    JournalAsEvent = 0x8,
    // Sound alarms as display alarms.
    SoundAsDisplay = 0x10,
    // Location alarms even without LocalData.
    ProximityAlarms = 0x40,
    // No rich-text copies of title and notes.
    NoRichText = 0x80,
    // The ORGANIZER (and the attendee who is the organizer) with the
    // caller's address.
    CallerIsOrganizer = 0x100,
    // X-CALENDARSERVER-ACCESS:CONFIDENTIAL for a private item.
    ConfidentialAccess = 0x200,
    // An ACTION:NONE alarm when the item has none, so that a server adds no
    // default alarm.
    PlaceholderAlarm = 0x400,
    // SHARE-SCOPE=GLOBAL on the event type and location URL, no LASTMODBY.
    GlobalScope = 0x800,
    // To-dos get a DTSTART (from the alarm or the due date) and floating
    // times are written in the system zone.
    ToDoStart = 0x1000,
    // No VTIMEZONE components.
    NoTimeZones = 0x2000,
    // Attachments the server manages by reference instead of inline data.
    ManagedAttachments = 0x4000,
    // The organizer schedules by mail: SCHEDULE-AGENT=CLIENT.
    ClientScheduling = 0x8000,
};

// The low eight bits together: in a REPLY, the user declines.
constexpr quint32 kDeclineMask = 0xff;

}  // namespace ICalWriteOptions
