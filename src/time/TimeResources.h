#pragma once

#include <QString>
#include <QVariant>

// The data files compiled into the time library ("ExchangeTimeZones",
// "TopTimeZones"), read as property lists.
namespace TimeResources {

// The property list of the resource `name` of type "plist"; no value (and an
// error logged) when it is missing or unreadable.
QVariant propertyList(const QString &name);

}  // namespace TimeResources
