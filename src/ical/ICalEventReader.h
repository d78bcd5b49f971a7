#pragma once

// INTERNAL to src/ical: the reader behind the importer, for the readers of
// later layers (sync, invitations, restore) that fill items from components
// they parsed. The .cpp files that use it include <libical/ical.h>.

#include <QString>

class CommonDataMO;
typedef struct icalcomponent_impl icalcomponent;

// What to read into one item.
struct ICalEventSource {
    // A VEVENT, VTODO or VJOURNAL, and the VCALENDAR it came in (for its
    // VTIMEZONEs; may be nullptr).
    icalcomponent *component = nullptr;
    icalcomponent *vcalendar = nullptr;
    // PRODID of the sender, for `lastModBy`.
    QString productID;
    quint32 options = 0;  // ICalReadOptions
    // A detached instance: its recurrence properties are not read.
    bool detached = false;
    // An item made just now, holding no values yet: what the component has
    // is set without first reading what the item holds.
    bool fresh = false;
};

namespace ICalEventReader {

// Fills the item (new or stored) from the component: type, dates,
// recurrence, texts, place, status, links, tags, stamps, progress, the
// program's own X- properties, people, attachments and alarms as the
// options ask, and the unknown X- properties. Records the component still
// describes are kept and updated, attendees, organizers, contact links,
// rules and attachments it no longer names are deleted; reminders are always
// made anew (a caller re-reading an item removes the old ones first). A
// property that cannot be read is skipped and its attribute keeps its value.
// Nothing is thrown: false (logged) when the store refused a change, which
// leaves the item partly filled.
bool eventFromComponent(CommonDataMO *event, const ICalEventSource &source);

}  // namespace ICalEventReader
