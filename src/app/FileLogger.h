#pragma once

#include <QFile>

#include "app/LogFileFormatter.h"
#include "app/LogFileManager.h"
#include "model/foundation/Log.h"

// Writes log lines, in order, to the newest numbered log file and rolls to a
// new file once the current one has reached maximumFileSize() bytes.
class FileLogger final : public LogSink {
public:
    static constexpr qint64 kDefaultMaximumFileSize = 8388608;  // 8 MiB

    explicit FileLogger(LogFileManager *manager, qint64 maximumFileSize = kDefaultMaximumFileSize);
    ~FileLogger() override;

    qint64 maximumFileSize() const { return m_maximumFileSize; }
    QString currentLogFilePath() const { return m_file.fileName(); }

    void logMessage(const LogMessage &message) override;
    void flush() override;

private:
    bool openCurrentFile();
    void rollLogFile();

    LogFileManager *m_manager;
    qint64 m_maximumFileSize;
    LogFileFormatter m_formatter;
    QFile m_file;
};
