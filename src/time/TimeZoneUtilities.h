#pragma once

#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <optional>

#include "model/foundation/Date.h"

// Time-zone helpers. The zones "Universal" and "GMT" and the universal test
// live with the zone lookup itself (model/foundation/TimeZones.h).
namespace TimeZoneUtilities {

// Both zones have the same offset from GMT on `onDate`.
bool isEquivalentToTimeZone(const QTimeZone &zone, const QTimeZone &other, Date onDate);

// The translation table's entry for `name` (platform name -> Windows name,
// Windows name -> platform name), else the entry for `name` followed by
// " Standard Time"; a platform name spelt as a link to another zone finds the
// entry of that zone. None when absent.
std::optional<QString> translateMacWindowsTimeZoneName(const QString &name);
// "Greenwich Standard Time".
QString windowsGMTName();

// The platform zone name for a foreign zone name: a Windows name
// ("W. Europe Standard Time"), a Windows display name ("(UTC+01:00)
// Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna", also older or reordered
// spellings); none when it names no known zone.
std::optional<QString> platformNameForForeignName(const QString &name);

// The zone names to try first when a zone is guessed from its rules (the
// "TopTimeZones" resource).
const QStringList &topTimeZones();

// Makes every lookup of a zone by name (TimeZones::zoneNamed) understand
// the foreign names of platformNameForForeignName(). Called at start-up.
void installNameTranslation();

}  // namespace TimeZoneUtilities
