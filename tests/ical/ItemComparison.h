#pragma once

#include <QString>

class CommonDataMO;

// Whether two items (in different stores, say) hold the same: every stored
// attribute of the item and of its syncable object that travels in
// iCalendar, every extra record (matched by content), and for a repeating
// item its detached instances (matched by their original time). Attributes
// kept on one machine only ("local…"), scratch ("trans…"), cached days and
// the ids of records that iCalendar does not carry are left out.
namespace ItemComparison {

// The first difference, as "what: first ≠ second"; empty when they agree.
QString firstDifference(const CommonDataMO &first, const CommonDataMO &second);
// The same for every item of two calendars, matched by uid (and a detached
// instance by its original time); a missing item is a difference.
QString firstDifferenceOfCalendars(const CommonDataMO &first, const CommonDataMO &second);

}  // namespace ItemComparison
