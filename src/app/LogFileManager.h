#pragma once

#include <QFileInfo>
#include <QString>
#include <QStringList>

// The numbered log files in the logs folder: "log-NNNNNN.txt", where the six
// digits tell files apart and grow by one for each new file, starting over at
// 000000 after 999999. At most maximumNumberOfLogFiles() are kept.
class LogFileManager {
public:
    explicit LogFileManager(const QString &logsDirectory, int maximumNumberOfLogFiles = 3);

    QString logsDirectory() const { return m_logsDirectory; }
    int maximumNumberOfLogFiles() const { return m_maximumNumberOfLogFiles; }

    // The log files, oldest first (by modification time, then by name).
    QStringList sortedLogFilePaths() const;
    // The six-digit number of the next file, from the names of the existing ones.
    QString generateShortUUID() const;
    // Creates the next numbered file (and the folder) and returns its path;
    // an empty string when it cannot be created.
    QString createNewLogFile();
    // Deletes the oldest files until at most the maximum number remain; `keep`
    // (the file just created) is never deleted.
    void deleteOldLogFiles(const QString &keep = QString());
    // Called when the current file was closed for being full.
    void didRollAndArchiveLogFile(const QString &path);

    static constexpr char kPrefix[] = "log-";
    static constexpr char kSuffix[] = ".txt";

private:
    // The files named like log files, in no particular order.
    QFileInfoList logFiles() const;

    QString m_logsDirectory;
    int m_maximumNumberOfLogFiles;
};
