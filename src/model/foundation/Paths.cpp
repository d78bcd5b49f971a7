#include "model/foundation/Paths.h"

#include <QDir>
#include <QStandardPaths>

namespace {
QString home() {
    return qEnvironmentVariable("MEROVAN_HOME");
}
}  // namespace

namespace Paths {

QString applicationSupportFolder() {
    if (const QString folder = home(); !folder.isEmpty())
        return QDir::cleanPath(folder);
    QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (data.isEmpty())
        data = QDir::tempPath();
    return QDir(data).filePath(QLatin1String(kProductName));
}

QString logsFolder() {
    return QDir(applicationSupportFolder()).filePath(QStringLiteral("Logs"));
}

QString attachmentsFolder() {
    return QDir(applicationSupportFolder()).filePath(QStringLiteral("Attachments"));
}

QString graphicsFolder() {
    return QDir(applicationSupportFolder()).filePath(QStringLiteral("Graphics"));
}

QString preferencesFile() {
    const QString name = QLatin1String(kProductName) + QStringLiteral(".conf");
    if (!home().isEmpty())
        return QDir(applicationSupportFolder()).filePath(name);
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return QDir(config).filePath(QLatin1String(kProductName) + QLatin1Char('/') + name);
}

}  // namespace Paths
