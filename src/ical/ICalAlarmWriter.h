#pragma once

// INTERNAL to src/ical: an item's reminders as VALARM components.

#include <optional>

#include "model/foundation/Date.h"

struct ICalItemExtras;
class ICalTextWriter;

namespace ICalAlarmWriter {

// One VALARM per synced reminder (and local one under LocalData), sorted by
// trigger: UID, ACKNOWLEDGED, default and local markers, TRIGGER (absolute
// in UTC, else relative to the start, else the sentinel time) and ACTION
// with its companions; placeholder reminders and unknown types are left
// out. Under PlaceholderAlarm an item without any gets an ACTION:NONE alarm.
void writeAlarms(ICalTextWriter &writer, const ICalItemExtras &extras, quint32 options);

// The absolute trigger of the item's first synced reminder, if it has one.
std::optional<Date> firstAbsoluteTrigger(const ICalItemExtras &extras);

}  // namespace ICalAlarmWriter
