#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <ctime>

#include "app/FileLogger.h"
#include "app/LogFileManager.h"
#include "support/TestSupport.h"

namespace {

constexpr char kSeparator[] = "-----------------------\n\n";

// A log folder of its own, the manual clock, a time zone half an hour off
// whole hours, and every flag in the mask, for each test.
class FileLoggerTest : public ::testing::Test {
protected:
    FileLoggerTest() : m_previousMask(Log::mask()), m_previousZone(qgetenv("TZ")) {
        qputenv("TZ", "Asia/Kolkata");  // UTC+05:30, no daylight saving
        tzset();
        Log::setMask(127);
    }
    ~FileLoggerTest() override {
        Log::setMask(m_previousMask);
        if (m_previousZone.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_previousZone);
        tzset();
    }

    QString logs() const { return m_dir.filePath(QStringLiteral("Logs")); }
    QString text(const QString &name) const {
        QFile file(QDir(logs()).filePath(name));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    QStringList names() const {
        return QDir(logs()).entryList({QStringLiteral("*")}, QDir::Files, QDir::Name);
    }

    QTemporaryDir m_dir;
    ScopedManualClock clock{Date(0.123)};
    LogFileManager manager{logs()};

private:
    int m_previousMask;
    QByteArray m_previousZone;
};

// A file logger added to the log for the lifetime of the object.
class ScopedFileLogger {
public:
    ScopedFileLogger(LogFileManager *manager, qint64 maximumFileSize)
        : m_logger(manager, maximumFileSize) {
        Log::addSink(&m_logger);
    }
    ~ScopedFileLogger() { Log::removeSink(&m_logger); }
    const FileLogger &logger() const { return m_logger; }

private:
    FileLogger m_logger;
};

}  // namespace

TEST_F(FileLoggerTest, LinesCarryLocalTimeLevelAndTextAfterOneSeparatorPerProcess) {
    {
        ScopedFileLogger logger(&manager, 100000);
        logInfo("Starting %@ %@", "Merovan", "1.0");
        clock.advance(1.5);
        logError("e");
        logWarning("w");
        logDebug("d");
        logVerbose("v");
        logTaskTrace("t");
        Log::write(64, QStringLiteral("odd flag"));
    }
    EXPECT_EQ(text("log-000000.txt"), QString::fromLatin1(kSeparator) +
                                          "2001-01-01 05:30:00.123 -1- Starting Merovan 1.0\n"
                                          "2001-01-01 05:30:01.623 -0- e\n"
                                          "2001-01-01 05:30:01.623 -0- w\n"
                                          "2001-01-01 05:30:01.623 -2- d\n"
                                          "2001-01-01 05:30:01.623 -3- v\n"
                                          "2001-01-01 05:30:01.623 -4- t\n"
                                          "2001-01-01 05:30:01.623 -?- odd flag\n");
    // The next process goes on in the same file while it has room, after a
    // separator of its own.
    clock.advanceTo(Date(86400 * 365.0 + 0.123));
    {
        ScopedFileLogger logger(&manager, 100000);
        logInfo("again");
    }
    EXPECT_EQ(names(), QStringList{"log-000000.txt"});
    EXPECT_TRUE(text("log-000000.txt")
                    .endsWith(QStringLiteral("-?- odd flag\n") + kSeparator +
                              "2002-01-01 05:30:00.123 -1- again\n"));
}

TEST_F(FileLoggerTest, AFullFileRollsAndAFourthFileDeletesTheOldest) {
    ScopedFileLogger logger(&manager, 200);
    const QString line = QString(50, u'x');  // 79 bytes with time and level
    logInfo("%@", line);
    logInfo("%@", line);
    EXPECT_EQ(names(), QStringList{"log-000000.txt"});
    logInfo("%@", line);  // reaches 200 bytes
    EXPECT_EQ(names(), (QStringList{"log-000000.txt", "log-000001.txt"}));
    const QString full = text("log-000000.txt");
    EXPECT_EQ(full.count(line), 3);
    EXPECT_GE(full.size(), 200);
    EXPECT_LT(full.size() - 80, 200);  // it did not reach the limit before the last line
    EXPECT_EQ(text("log-000001.txt"), "2001-01-01 05:30:00.123 -1- Log file rolled over\n");
    EXPECT_EQ(logger.logger().currentLogFilePath(), QDir(logs()).filePath("log-000001.txt"));

    // From here on a file fills with the rolled-over line (49 bytes) and two lines.
    logInfo("%@", line);
    logInfo("%@", line);
    EXPECT_EQ(names(), (QStringList{"log-000000.txt", "log-000001.txt", "log-000002.txt"}));
    logInfo("%@", line);
    logInfo("%@", line);
    EXPECT_EQ(names(), (QStringList{"log-000001.txt", "log-000002.txt", "log-000003.txt"}));
    EXPECT_TRUE(text("log-000003.txt").endsWith("-1- Log file rolled over\n"));
}

TEST_F(FileLoggerTest, ANewProcessStartsANewFileWhenTheNewestIsFull) {
    {
        ScopedFileLogger logger(&manager, 60);
        logInfo("%@", QString(40, u'y'));  // 25 + 69 bytes: full, and rolled
    }
    EXPECT_EQ(names(), (QStringList{"log-000000.txt", "log-000001.txt"}));
    QFile::remove(QDir(logs()).filePath("log-000001.txt"));
    {
        ScopedFileLogger logger(&manager, 60);
        logInfo("next");
    }
    EXPECT_EQ(names(), (QStringList{"log-000000.txt", "log-000001.txt"}));
    EXPECT_EQ(text("log-000001.txt"),
              QString::fromLatin1(kSeparator) + "2001-01-01 05:30:00.123 -1- next\n");
}
