#pragma once

// INTERNAL to src/ical: the people of an item as iCalendar: contact links,
// organizer and attendees.

#include <libical/ical.h>

struct ICalEventRequest;
class CommonDataMO;

namespace ICalPeopleWriter {

// X-TOLVERN-CONTACT per synced contact link, and per local one with `local`
// (X-SCOPE=LOCAL), the link's fields as parameters.
void addContacts(icalcomponent *component, const CommonDataMO *event, bool local);
// ORGANIZER and ATTENDEE as the request's method asks: a REPLY carries only
// the user's own attendee (declining when any of the low eight option bits
// is set); a PUBLISH without organizer names the user.
void addPeople(icalcomponent *component, const ICalEventRequest &request);

}  // namespace ICalPeopleWriter
