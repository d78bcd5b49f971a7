#include "app/FileLogger.h"

#include <QFileInfo>

FileLogger::FileLogger(LogFileManager *manager, qint64 maximumFileSize)
    : m_manager(manager), m_maximumFileSize(maximumFileSize) {}

FileLogger::~FileLogger() {
    flush();
}

bool FileLogger::openCurrentFile() {
    if (m_file.isOpen())
        return true;
    // A new run goes on in the newest file while it has room.
    const QStringList files = m_manager->sortedLogFilePaths();
    QString path = files.isEmpty() ? QString() : files.last();
    if (path.isEmpty() || QFileInfo(path).size() >= m_maximumFileSize)
        path = m_manager->createNewLogFile();
    if (path.isEmpty())
        return false;
    m_file.setFileName(path);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
}

void FileLogger::rollLogFile() {
    const QString archived = m_file.fileName();
    m_file.close();
    const QString path = m_manager->createNewLogFile();
    m_file.setFileName(path);
    if (!path.isEmpty())
        m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
    m_manager->didRollAndArchiveLogFile(archived);
}

void FileLogger::logMessage(const LogMessage &message) {
    if (!openCurrentFile())
        return;
    m_file.write(m_formatter.formatLogMessage(message).toUtf8() + '\n');
    if (m_file.size() >= m_maximumFileSize)
        rollLogFile();
}

void FileLogger::flush() {
    if (m_file.isOpen())
        m_file.flush();
}
