#pragma once

#include <QString>

// The name of an event type (0 event, 1 to-do, 2 graphic, 3 sticky, 4
// journal entry) as the user reads it in messages: "event", "all-day
// event", "to-do", …, or in the plural with `pluralize` ("events", …).
// An unknown type is named "item" / "items".
QString eventTypeToString(qint64 eventType, bool allDay, bool pluralize);
