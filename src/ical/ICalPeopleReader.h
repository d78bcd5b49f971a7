#pragma once

// INTERNAL to src/ical: attendees, organizer and contact links read from a
// component into an item.

struct ICalEventSource;
class CommonDataMO;

namespace ICalPeopleReader {

// ATTENDEE properties as attendee records (matched by address), the
// ORGANIZER when some attendee is named or the options ask for it, and
// X-TOLVERN-CONTACT properties as contact links (matched by contact id).
// Attendees, organizers and synced contact links the component no longer
// names are deleted.
void readPeople(CommonDataMO *event, const ICalEventSource &source);

}  // namespace ICalPeopleReader
