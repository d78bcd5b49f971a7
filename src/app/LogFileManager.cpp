#include "app/LogFileManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

#include "model/foundation/Log.h"

LogFileManager::LogFileManager(const QString &logsDirectory, int maximumNumberOfLogFiles)
    : m_logsDirectory(logsDirectory), m_maximumNumberOfLogFiles(maximumNumberOfLogFiles) {}

QFileInfoList LogFileManager::logFiles() const {
    const QString pattern = QLatin1String(kPrefix) + QStringLiteral("*") + QLatin1String(kSuffix);
    return QDir(m_logsDirectory).entryInfoList({pattern}, QDir::Files);
}

QStringList LogFileManager::sortedLogFilePaths() const {
    QFileInfoList files = logFiles();
    std::sort(files.begin(), files.end(), [](const QFileInfo &a, const QFileInfo &b) {
        const QDateTime ta = a.lastModified(), tb = b.lastModified();
        return ta != tb ? ta < tb : a.fileName() < b.fileName();
    });
    QStringList paths;
    for (const QFileInfo &file : files)
        paths << file.absoluteFilePath();
    return paths;
}

QString LogFileManager::generateShortUUID() const {
    QList<long> numbers;
    for (const QFileInfo &file : logFiles()) {
        bool ok = false;
        const long number = file.fileName().mid(4, 6).toLong(&ok);
        if (ok)
            numbers << number;
    }
    long largest = -1;
    for (long number : numbers)
        largest = std::max(largest, number);
    if (largest > 999998) {
        // Numbering starts over near 0 once it has reached 999999.
        largest = -1;
        for (long number : numbers) {
            if (number < 11)
                largest = std::max(largest, number);
        }
    }
    return QString::asprintf("%06ld", largest + 1);
}

QString LogFileManager::createNewLogFile() {
    if (!QDir().mkpath(m_logsDirectory))
        return QString();
    const QString path =
        QDir(m_logsDirectory)
            .filePath(QLatin1String(kPrefix) + generateShortUUID() + QLatin1String(kSuffix));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    file.close();
    deleteOldLogFiles(path);
    return path;
}

void LogFileManager::deleteOldLogFiles(const QString &keep) {
    QStringList paths = sortedLogFilePaths();
    paths.removeAll(QFileInfo(keep).absoluteFilePath());
    const int allowed = m_maximumNumberOfLogFiles - (keep.isEmpty() ? 0 : 1);
    while (paths.size() > allowed)
        QFile::remove(paths.takeFirst());
}

void LogFileManager::didRollAndArchiveLogFile(const QString &) {
    logInfo("Log file rolled over");
}
