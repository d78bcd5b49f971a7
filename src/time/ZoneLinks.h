#pragma once

#include <QHash>
#include <QString>

// The links of the platform's zone database: old and alternative zone names
// ("Asia/Calcutta", "Europe/Kiev", "US/Eastern") and the zones they stand for
// ("Asia/Kolkata", "Europe/Kyiv", "America/New_York"). Read once from the
// database's "tzdata.zi" (in $TZDIR, else /usr/share/zoneinfo); without that
// file every name stands for itself.
class ZoneLinks {
public:
    static const ZoneLinks &shared();
    // Parses the text of a "tzdata.zi" file (its "L target link" lines).
    explicit ZoneLinks(const QString &tzdataText);

    // The zone a name stands for, following links; the name itself when it
    // is not a link.
    QString canonicalName(const QString &name) const;

private:
    QHash<QString, QString> m_targets;
};
