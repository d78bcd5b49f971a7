#include "time/ZoneLinks.h"

#include <QDir>
#include <QFile>

#include "model/foundation/Log.h"

namespace {

QString readTzdata() {
    const QString directory = qEnvironmentVariableIsEmpty("TZDIR")
                                  ? QStringLiteral("/usr/share/zoneinfo")
                                  : qEnvironmentVariable("TZDIR");
    QFile file(QDir(directory).filePath(QStringLiteral("tzdata.zi")));
    if (!file.open(QIODevice::ReadOnly)) {
        logWarning("ZoneLinks: cannot read %@, zone links are unknown", file.fileName());
        return {};
    }
    return QString::fromUtf8(file.readAll());
}

}  // namespace

const ZoneLinks &ZoneLinks::shared() {
    static const ZoneLinks links(readTzdata());
    return links;
}

ZoneLinks::ZoneLinks(const QString &tzdataText) {
    for (QStringView line : QStringView(tzdataText).split(QLatin1Char('\n'))) {
        if (!line.startsWith(QLatin1String("L ")))
            continue;
        const auto fields = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (fields.size() == 3)
            m_targets.insert(fields[2].toString(), fields[1].toString());
    }
}

QString ZoneLinks::canonicalName(const QString &name) const {
    QString current = name;
    // Links may point at links; a bounded walk also survives a looped file.
    for (int step = 0; step < 8; ++step) {
        const auto found = m_targets.constFind(current);
        if (found == m_targets.constEnd())
            break;
        current = *found;
    }
    return current;
}
