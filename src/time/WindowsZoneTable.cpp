#include "time/WindowsZoneTable.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTimeZone>
#include <algorithm>

#include "model/foundation/Clock.h"
#include "model/foundation/TimeZones.h"
#include "time/TimeResources.h"
#include "time/ZoneLinks.h"

namespace {

// The places of a display name, lower case, without the offset prefix.
QStringList placesOf(const QString &displayName) {
    static const QRegularExpression separators(QStringLiteral(R"(\s*(?:[,/;&]|\band\b)\s*)"),
                                               QRegularExpression::CaseInsensitiveOption);
    const QString rest = displayName.mid(displayName.indexOf(QLatin1Char(')')) + 1);
    QStringList places;
    for (const QString &place : rest.toLower().split(separators, Qt::SkipEmptyParts)) {
        const QString trimmed = place.simplified().remove(QLatin1Char('"'));
        if (!trimmed.isEmpty())
            places.append(trimmed);
    }
    return places;
}

std::optional<QString> displayKey(const QString &displayName) {
    const std::optional<int> offset = TimeZones::displayNameOffset(displayName);
    if (!offset)
        return std::nullopt;
    QStringList places = placesOf(displayName);
    places.sort();
    return QString::number(*offset) + QLatin1Char('|') + places.join(QLatin1Char(','));
}

// Platform zones by the lower-case name of their city ("new york").
const QMultiHash<QString, QByteArray> &zonesByCity() {
    static const QMultiHash<QString, QByteArray> index = [] {
        QMultiHash<QString, QByteArray> zones;
        for (const QByteArray &id : QTimeZone::availableTimeZoneIds()) {
            const QString city = QString::fromUtf8(id.mid(id.lastIndexOf('/') + 1));
            zones.insert(city.toLower().replace(QLatin1Char('_'), QLatin1Char(' ')), id);
        }
        return zones;
    }();
    return index;
}

}  // namespace

const WindowsZoneTable &WindowsZoneTable::shared() {
    static const WindowsZoneTable table(
        TimeResources::propertyList(QStringLiteral("ExchangeTimeZones")).toMap(),
        ZoneLinks::shared());
    return table;
}

WindowsZoneTable::WindowsZoneTable(const QVariantMap &table, const ZoneLinks &links)
    : m_links(links) {
    for (auto entry = table.constBegin(); entry != table.constEnd(); ++entry) {
        const QString value = entry.value().toString();
        m_entries.insert(entry.key(), value);
        if (const std::optional<QString> key = displayKey(entry.key()))
            m_displayNames.insert(*key, value);
        // "Europe/Kiev" is in the table; "Europe/Kyiv", the zone it links
        // to, finds the entry through the link.
        const QString canonical = links.canonicalName(entry.key());
        if (canonical != entry.key() && !table.contains(canonical))
            m_entries.insert(canonical, value);
    }
}

std::optional<QString> WindowsZoneTable::translate(const QString &name) const {
    for (const QString &key : {name, name + QLatin1String(" Standard Time")}) {
        const auto found = m_entries.constFind(key);
        if (found != m_entries.constEnd())
            return *found;
    }
    const auto linked = m_entries.constFind(m_links.canonicalName(name));
    if (linked != m_entries.constEnd())
        return *linked;
    return std::nullopt;
}

std::optional<QString> WindowsZoneTable::zoneForDisplayName(const QString &name) const {
    const std::optional<QString> key = displayKey(name);
    if (!key)
        return std::nullopt;
    if (const auto found = m_displayNames.constFind(*key); found != m_displayNames.constEnd())
        return *found;
    const int offset = *TimeZones::displayNameOffset(name);
    const QDateTime now = Clock::shared().now().toDateTime();
    for (const QString &place : placesOf(name)) {
        for (const QByteArray &id : zonesByCity().values(place)) {
            if (QTimeZone(id).standardTimeOffset(now) == offset)
                return QString::fromUtf8(id);
        }
    }
    return std::nullopt;
}
