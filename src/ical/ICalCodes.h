#pragma once

// INTERNAL to src/ical: the words iCalendar uses for the store's codes, in
// both directions, and the program's own property names.

#include <QString>
#include <QtGlobal>
#include <optional>

namespace ICalCodes {

// Item types (`eventType`).
enum EventType : qint64 { Event = 0, ToDo = 1, Graphic = 2, Sticky = 3, Journal = 4 };
// The X-TOLVERN-EVENT-TYPE word of a type; nullptr for one written by its
// component alone.
const char *eventTypeName(qint64 type);
// The type of an X-TOLVERN-EVENT-TYPE word ("TODO" included); none for any
// other word.
std::optional<qint64> eventTypeOfName(const QString &name);

// Item `status` ↔ STATUS: TENTATIVE 2, CANCELLED 7, CONFIRMED 8; nullptr /
// 0 for everything else.
const char *itemStatusName(qint64 status);
qint64 itemStatusOfName(const QString &name);

// Attendee `status` ↔ PARTSTAT: NEEDS-ACTION 1, TENTATIVE 2, ACCEPTED 3,
// IN-PROCESS 4, DELEGATED 5, COMPLETED 6, DECLINED 9. The name is empty for
// codes without one; an unknown word (an extension) reads as 1.
const char *participationStatusName(qint64 status);
qint64 participationStatusOfName(const QString &name);

// `attendeeType` ↔ CUTYPE: INDIVIDUAL 0, GROUP 1, RESOURCE 2, ROOM 3,
// UNKNOWN 4. Only GROUP, RESOURCE and ROOM are written; other words read as 0.
const char *attendeeTypeName(qint64 type);
qint64 attendeeTypeOfName(const QString &name);

// `role` ↔ ROLE: REQ-PARTICIPANT 0, OPT-PARTICIPANT 1, NON-PARTICIPANT 2,
// CHAIR 3. NON-PARTICIPANT is read but never written; other words read as 0.
const char *roleName(qint64 role);
qint64 roleOfName(const QString &name);

// Contact links: `contactType` 0-5 ↔ X-CONTACT-TYPE, `nameOrder` 0-1 ↔
// X-NAME-ORDER.
const char *contactTypeName(qint64 type);
std::optional<qint64> contactTypeOfName(const QString &name);
const char *nameOrderName(qint64 order);
std::optional<qint64> nameOrderOfName(const QString &name);

// The X- properties of an item that are read into attributes (or written
// from them) and so are not kept among its unknown properties.
bool isKnownItemProperty(const QString &name);

}  // namespace ICalCodes
