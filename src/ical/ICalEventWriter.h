#pragma once

// INTERNAL to src/ical: the component writer behind ICalWriter, for the
// writers of later layers (uploads, mail) that add to the component. The
// .cpp files that use it include <libical/ical.h>.

#include <QString>
#include <optional>

#include "ical/ICalMethod.h"
#include "model/foundation/CalendarDate.h"

class CommonDataMO;
typedef struct icalcomponent_impl icalcomponent;

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
};

namespace ICalEventWriter {

// A new VEVENT, VTODO or VJOURNAL (owned by the caller) for the item, its
// properties in a fixed order: dates and recurrence, texts, place, UID,
// SEQUENCE, DTSTAMP, RECURRENCE-ID, status, links and tags, stamps,
// priority and completion, class, the program's own X- properties, contact
// links, kept unknown properties, organizer and attendees, attachments and
// alarms. Empty values are left out; the writer never fails on missing data.
icalcomponent *eventComponent(const ICalEventRequest &request);

}  // namespace ICalEventWriter
