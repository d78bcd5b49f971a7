#pragma once

#include <QList>
#include <QStringList>
#include <QVariant>
#include <optional>

#include "model/foundation/CalendarDate.h"
#include "model/store/ObjectID.h"

class CommonDataMO;

// What expanding one item into occurrences reads of it, filled alike from
// the item's object or from its stored values (when no object is made).
struct ExpansionItem {
    ObjectID id;
    // The start, or the due date when there is none; the end likewise (see
    // ItemDates). No start: no occurrence.
    std::optional<CalendarDate> start;
    std::optional<CalendarDate> end;
    bool allDay = false;
    bool floating = false;
    // A detached instance, and the start of the occurrence it stands for.
    bool detached = false;
    std::optional<CalendarDate> originalStart;
    // The item's calendar (its data object's id).
    ObjectID calendar;

    static ExpansionItem of(const CommonDataMO *item);
    // The keys of storedKeys(), in that order, of an item of `id`.
    static ExpansionItem fromStored(const ObjectID &id, const QVariantList &values);
    static const QStringList &storedKeys();
};
