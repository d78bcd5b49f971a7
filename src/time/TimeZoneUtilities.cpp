#include "time/TimeZoneUtilities.h"

#include "model/foundation/TimeZones.h"
#include "model/foundation/WallClock.h"
#include "time/TimeResources.h"
#include "time/WindowsZoneTable.h"

namespace TimeZoneUtilities {

bool isEquivalentToTimeZone(const QTimeZone &zone, const QTimeZone &other, Date onDate) {
    return offsetFromUtc(zone, onDate) == offsetFromUtc(other, onDate);
}

std::optional<QString> translateMacWindowsTimeZoneName(const QString &name) {
    return WindowsZoneTable::shared().translate(name);
}

QString windowsGMTName() {
    return QStringLiteral("Greenwich Standard Time");
}

std::optional<QString> platformNameForForeignName(const QString &name) {
    const WindowsZoneTable &table = WindowsZoneTable::shared();
    if (std::optional<QString> translated = table.translate(name);
        translated && QTimeZone(translated->toUtf8()).isValid())
        return translated;
    return table.zoneForDisplayName(name);
}

const QStringList &topTimeZones() {
    static const QStringList names =
        TimeResources::propertyList(QStringLiteral("TopTimeZones")).toStringList();
    return names;
}

void installNameTranslation() {
    TimeZones::setNameTranslator(&platformNameForForeignName);
}

}  // namespace TimeZoneUtilities
