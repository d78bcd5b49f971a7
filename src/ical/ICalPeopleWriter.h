#pragma once

// INTERNAL to src/ical: the people of an item as iCalendar: contact links,
// organizer and attendees.

#include "ical/ICalItemExtras.h"

struct ICalEventRequest;
class ExtraDataMO;
class ICalTextWriter;

namespace ICalPeopleWriter {

// X-TOLVERN-CONTACT per synced contact link of the item's `contacts`, and per
// local one with `local` (X-SCOPE=LOCAL), the link's fields as parameters.
void writeContacts(ICalTextWriter &writer, ICalItemExtras::View contacts, bool local);
// ORGANIZER and ATTENDEE as the request's method asks: a REPLY carries only
// the user's own attendee (declining when any of the low eight option bits
// is set); a PUBLISH without organizer names the user. `organizer` is the
// item's first organizer record (MeetingRoles::anyOrganizer), or nullptr;
// `attendees` its attendee records.
void writePeople(ICalTextWriter &writer, const ICalEventRequest &request,
                 const ExtraDataMO *organizer, ICalItemExtras::View attendees);

}  // namespace ICalPeopleWriter
