#pragma once

#include <QString>
#include <optional>

// The iTIP method a piece of iCalendar is written for: none for a plain
// copy (files, uploads), PUBLISH for a copy handed to others, the others for
// scheduling messages about an item.
enum class ICalMethod {
    None,
    Publish,
    Request,
    Reply,
    Add,
    Cancel,
    Refresh,
    Counter,
    DeclineCounter
};

namespace ICalMethods {

// PUBLISH, REQUEST or none: the text carries the whole item, not a
// scheduling message about it.
bool carriesWholeItem(ICalMethod method);
// "PUBLISH", "REQUEST", …; empty for none.
QString name(ICalMethod method);
// The method of a METHOD value (any case); none for an unknown one.
std::optional<ICalMethod> fromName(const QString &name);

}  // namespace ICalMethods
