#pragma once

#include <QtGlobal>

// The stored codes of an item's kind (`eventType`) and of the status shared by
// items and attendees (`status`). Stores keep these numbers: never renumber.
namespace ItemType {
enum : qint64 { Event = 0, ToDo = 1, Graphic = 2, Sticky = 3, Journal = 4 };
}

namespace StatusCode {
enum : qint64 {
    None = 0,
    NeedsAction = 1,
    Tentative = 2,
    Accepted = 3,
    InProcess = 4,
    Delegated = 5,
    Completed = 6,
    Cancelled = 7,
    Confirmed = 8,
    Declined = 9,
};
}
