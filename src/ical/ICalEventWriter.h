#pragma once

// INTERNAL to src/ical: the item writer behind ICalWriter, for the writers
// of later layers (uploads, mail).

#include <QByteArray>
#include <QHash>
#include <QString>
#include <optional>

#include "ical/ICalMethod.h"
#include "model/foundation/CalendarDate.h"

class CommonDataMO;

// What to write of one item.
struct ICalEventRequest {
    CommonDataMO *event = nullptr;
    ICalMethod method = ICalMethod::None;
    quint32 options = 0;  // ICalWriteOptions
    // The address that stands for the organizer under CallerIsOrganizer.
    QString callerAddress;
    // Write this one occurrence, with its RECURRENCE-ID.
    std::optional<CalendarDate> occurrence;
    // COMMENT of a reply.
    QString comment;
    // SEQUENCE by the UID written (uid → sequence), overriding the stored
    // one; where the item writes none, it follows the last property.
    const QHash<QString, qint64> *sequences = nullptr;
};

// The stored dates of an item that decide which zones its text needs:
// `allDayOrFloating` items need none; the others need the zones of their
// start, end and due dates, as stored (before any change for a receiver).
struct ICalStoredDates {
    bool allDayOrFloating = false;
    std::optional<CalendarDate> start;
    std::optional<CalendarDate> end;
    std::optional<CalendarDate> due;
};

namespace ICalEventWriter {

// Appends the VEVENT, VTODO or VJOURNAL of the item to `text`, its
// properties in a fixed order: dates and recurrence, texts, place, UID,
// SEQUENCE, DTSTAMP, RECURRENCE-ID, status, links and tags, stamps,
// priority and completion, class, the program's own X- properties, contact
// links, kept unknown properties, organizer and attendees, attachments and
// alarms. Empty values are left out; the writer never fails on missing data.
// With `dates`, it also gives the item's stored dates, from the values it
// reads anyway.
void writeEvent(const ICalEventRequest &request, QByteArray &text,
                ICalStoredDates *dates = nullptr);
// The stored dates of an item, read from it.
ICalStoredDates storedDates(const CommonDataMO *item);

}  // namespace ICalEventWriter
