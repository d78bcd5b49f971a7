#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "app/LogFileManager.h"

namespace {

class LogFileManagerTest : public ::testing::Test {
protected:
    // Creates a file in the logs folder, last modified `age` seconds ago.
    void touch(const QString &name, int age = 0) {
        QDir().mkpath(logs());
        QFile file(QDir(logs()).filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-age),
                                     QFileDevice::FileModificationTime));
    }
    QString logs() const { return m_dir.filePath(QStringLiteral("Logs")); }
    QStringList names() const {
        QStringList result;
        for (const QString &path : manager.sortedLogFilePaths())
            result << QFileInfo(path).fileName();
        return result;
    }

    QTemporaryDir m_dir;
    LogFileManager manager{logs()};
};

}  // namespace

TEST_F(LogFileManagerTest, NumbersFollowTheLargestNumberThere) {
    EXPECT_EQ(manager.generateShortUUID(), "000000");  // not even a folder yet
    touch("log-000041.txt");
    touch("log-000042.txt");
    EXPECT_EQ(manager.generateShortUUID(), "000043");
    touch("log-000007.txt");
    EXPECT_EQ(manager.generateShortUUID(), "000043");
}

TEST_F(LogFileManagerTest, NumberingStartsOverAfter999999) {
    touch("log-999998.txt");
    EXPECT_EQ(manager.generateShortUUID(), "999999");
    touch("log-999999.txt");
    EXPECT_EQ(manager.generateShortUUID(), "000000");
    touch("log-000011.txt");  // not below 11
    EXPECT_EQ(manager.generateShortUUID(), "000000");
    touch("log-000003.txt");
    touch("log-000010.txt");
    EXPECT_EQ(manager.generateShortUUID(), "000011");
}

TEST_F(LogFileManagerTest, OnlyLogFilesCount) {
    touch("core000777");
    touch("notes-000500.txt");
    touch("log-00004x.txt");
    touch("log-000100.txt.gz");
    EXPECT_EQ(manager.generateShortUUID(), "000000");
}

TEST_F(LogFileManagerTest, NewFilesStartEmptyAndTheOldestGoesBeyondThree) {
    const QString first = manager.createNewLogFile();
    EXPECT_EQ(first, QDir(logs()).filePath("log-000000.txt"));
    EXPECT_TRUE(QFileInfo(first).isFile());
    EXPECT_EQ(QFileInfo(first).size(), 0);
    QFile::remove(first);

    // Oldest by modification time, not by name.
    touch("log-000005.txt", 300);
    touch("log-000003.txt", 200);
    touch("log-000004.txt", 100);
    EXPECT_EQ(names(), (QStringList{"log-000005.txt", "log-000003.txt", "log-000004.txt"}));
    const QString fourth = manager.createNewLogFile();
    EXPECT_EQ(QFileInfo(fourth).fileName(), "log-000006.txt");
    EXPECT_EQ(names(), (QStringList{"log-000003.txt", "log-000004.txt", "log-000006.txt"}));
    EXPECT_EQ(manager.maximumNumberOfLogFiles(), 3);
}

TEST_F(LogFileManagerTest, TheNewFileIsKeptWhateverItsTime) {
    LogFileManager single(logs(), 1);
    touch("log-000001.txt", -3600);  // modified in the future
    const QString created = single.createNewLogFile();
    EXPECT_EQ(QFileInfo(created).fileName(), "log-000002.txt");
    EXPECT_EQ(names(), QStringList{"log-000002.txt"});
}
