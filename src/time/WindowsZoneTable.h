#pragma once

#include <QHash>
#include <QString>
#include <QVariantMap>
#include <optional>

#include "time/ZoneLinks.h"

// The translation table between platform zone names and Exchange (Windows)
// zone names, both ways in one dictionary, with the Windows display names
// ("(UTC+01:00) Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna") mapped to
// platform zones as well. The shared table is the "ExchangeTimeZones"
// resource, read once.
class WindowsZoneTable {
public:
    static const WindowsZoneTable &shared();
    WindowsZoneTable(const QVariantMap &table, const ZoneLinks &links);

    // The entry for `name`; else the entry for `name` + " Standard Time";
    // else, for a platform name that is a link to another zone (an old or
    // alternative spelling such as "Asia/Kolkata" for "Asia/Calcutta"), the
    // entry of a name of the same zone. None when all are absent.
    std::optional<QString> translate(const QString &name) const;

    // The platform zone of a display name. The name is compared with the
    // table's display names ignoring case, "GMT" for "UTC", "." for ":" in
    // the offset, and the order and separators (",", "/", ";", "&", "and")
    // of its places; failing that, a place of the name that is the city of a
    // platform zone whose standard offset is the name's offset gives that
    // zone. None for a name without a "(UTC±hh:mm)" prefix or without a match.
    std::optional<QString> zoneForDisplayName(const QString &name) const;

private:
    ZoneLinks m_links;
    QHash<QString, QString> m_entries;
    QHash<QString, QString> m_displayNames;
};
