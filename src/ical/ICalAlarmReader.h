#pragma once

// INTERNAL to src/ical: VALARM components read into reminder records.

struct ICalEventSource;
class CommonDataMO;

namespace ICalAlarmReader {

// One new reminder record ("Reminder", or "LocalReminder" for
// X-TOLVERN-REMINDER-TYPE:LOCAL) per VALARM with a known ACTION: its
// trigger, type, target (sound, procedure or recipients), snooze, default
// and acknowledged state, its UID as the record's uid and its unknown
// properties. The writer's placeholder (ACTION:NONE at the sentinel time)
// makes none.
void readAlarms(CommonDataMO *event, const ICalEventSource &source);

}  // namespace ICalAlarmReader
