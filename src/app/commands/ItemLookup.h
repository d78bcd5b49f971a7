#pragma once

#include <QString>

class CommonDataMO;

// The live calendar or item a command names by uid; a CommandError
// ("no calendar with uid …" / "no item with uid …") when there is none.
// Runs on the store's main context (Queries).
namespace ItemLookup {
CommonDataMO *calendarWithUID(const QString &uid);
CommonDataMO *itemWithUID(const QString &uid);
}  // namespace ItemLookup
