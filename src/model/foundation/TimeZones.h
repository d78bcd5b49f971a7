#pragma once

#include <QString>
#include <QTimeZone>
#include <functional>
#include <optional>

// The time zones of the program, and the one way of looking a zone up by its
// name. Every lookup goes through here, so that names the platform does not
// know (Windows names, display names, names of other systems) are treated the
// same way wherever they come from: the store, iCalendar data, servers.
namespace TimeZones {

// The zone named "Universal", offset zero: floating and all-day times are
// held in it. It keeps that name even where the platform spells UTC otherwise.
const QTimeZone &universal();
// The zone named "GMT", offset zero.
const QTimeZone &gmt();
// True when the zone's name is "universal" or "utc" (in any case), or "gmt"
// and the zone is gmt().
bool isUniversal(const QTimeZone &zone);

// The zone the user is in: the platform's (which follows $TZ), unless one was
// installed with setSystemZone().
QTimeZone systemZone();
// Installs a zone to use instead of the platform's; none goes back to the
// platform's. For tests and for a user's explicit choice.
void setSystemZone(const std::optional<QTimeZone> &zone);

// Turns a name the platform does not know into one it knows (Windows zone
// names, display names), or gives none. The time library installs its
// translation at start-up; until then only platform names are known.
using NameTranslator = std::function<std::optional<QString>(const QString &name)>;
void setNameTranslator(NameTranslator translator);
// Counts the translations installed: a cache of answers built on
// knownZoneNamed() holds while this stays the same.
quint64 nameTranslatorGeneration();

// The zone of `name`: a platform zone name ("Europe/Berlin", "Universal",
// "GMT", "UTC+01:00" …), else the zone of the installed translation of the
// name. None for an empty or unknown name.
std::optional<QTimeZone> knownZoneNamed(const QString &name);

// As knownZoneNamed(), except that an unknown non-empty name is not dropped:
// it gives a fixed-offset zone that keeps the name (so the name is written
// back as it was read), whose offset comes from a leading "(UTC+01:00)" or
// "(GMT-05:00)" in the name if it has one, else zero. The first lookup of
// each unknown name is logged as a warning.
std::optional<QTimeZone> zoneNamed(const QString &name);

// The offset written at the start of a display name: "(UTC+01:00) Amsterdam",
// "(GMT-03.30) Newfoundland", "(UTC) Coordinated Universal Time" (zero). None
// for a name without one.
std::optional<int> displayNameOffset(const QString &name);

}  // namespace TimeZones
