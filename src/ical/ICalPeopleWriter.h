#pragma once

// INTERNAL to src/ical: the people of an item as iCalendar: contact links,
// organizer and attendees.

struct ICalEventRequest;
class CommonDataMO;
class ExtraDataMO;
class ICalTextWriter;

namespace ICalPeopleWriter {

// X-TOLVERN-CONTACT per synced contact link, and per local one with `local`
// (X-SCOPE=LOCAL), the link's fields as parameters.
void writeContacts(ICalTextWriter &writer, const CommonDataMO *event, bool local);
// ORGANIZER and ATTENDEE as the request's method asks: a REPLY carries only
// the user's own attendee (declining when any of the low eight option bits
// is set); a PUBLISH without organizer names the user. `organizer` is the
// item's first organizer record (MeetingRoles::anyOrganizer), or nullptr.
void writePeople(ICalTextWriter &writer, const ICalEventRequest &request,
                 const ExtraDataMO *organizer);

}  // namespace ICalPeopleWriter
