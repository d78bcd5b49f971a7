#include <gtest/gtest.h>
#include <signal.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QScopeGuard>
#include <QThread>
#include <QTimer>
#include <iostream>

#include "caldav/support/DAVServers.h"
#include "support/TestSupport.h"

// The test servers go with the test binary that started them, however it
// ends: a binary killed by a timeout must not leave servers listening.

// Starts one server of each way of launching (a server run directly, a
// shell with its own children, a server that switches user and forks),
// prints their process groups and folders and waits to be killed.
MEROVAN_CHILD_ROUTINE(holdServersUntilKilled) {
    RadicaleServer radicale;
    DAViCalServer davical;
    CyrusServer cyrus;
    for (TestServer *server : std::initializer_list<TestServer *>{&radicale, &davical, &cyrus}) {
        if (const QString error = server->start(); !error.isEmpty()) {
            std::cerr << error.toStdString() << std::endl;
            return 1;
        }
        std::cout << server->processGroup() << ' ' << server->folder().toStdString() << ' ';
    }
    std::cout << std::endl;
    QEventLoop loop;
    QTimer::singleShot(300000, &loop, &QEventLoop::quit);
    loop.exec();
    return 0;
}

TEST(TestServerLifetime, ServersDieWithAKilledTestBinary) {
    std::unique_ptr<QProcess> holder = startChildRoutine("holdServersUntilKilled");
    ASSERT_TRUE(holder->waitForStarted(10000));
    QByteArray line;
    const QDeadlineTimer startDeadline(180000);
    while (!line.endsWith('\n') && !startDeadline.hasExpired() &&
           holder->state() == QProcess::Running) {
        if (holder->waitForReadyRead(1000))
            line += holder->readAllStandardOutput();
    }
    // Process groups and folders, in pairs.
    QList<qint64> groups;
    QStringList folders;
    const QList<QByteArray> fields = line.simplified().split(' ');
    for (qsizetype index = 0; index + 1 < fields.size(); index += 2) {
        if (fields[index].toLongLong() > 0)
            groups.append(fields[index].toLongLong());
        folders.append(QString::fromLocal8Bit(fields[index + 1]));
    }
    // The killed binary cannot remove its servers' folders (a database
    // cluster among them): that is left to whoever killed it.
    const auto removeFolders = qScopeGuard([&folders] {
        for (const QString &folder : std::as_const(folders))
            EXPECT_TRUE(folder.startsWith(QDir::tempPath()) && QDir(folder).removeRecursively())
                << folder.toStdString();
    });
    ASSERT_EQ(groups.size(), 3) << line.toStdString()
                                << holder->readAllStandardError().toStdString();
    for (qint64 group : groups)
        EXPECT_FALSE(TestServer::liveMembersOfGroup(group).isEmpty()) << group;

    ::kill(pid_t(holder->processId()), SIGKILL);
    ASSERT_TRUE(holder->waitForFinished(10000));

    // Bounded: the servers get their signal at once; their shutdown is quick.
    const QDeadlineTimer deadline(20000);
    QList<qint64> left;
    do {
        left.clear();
        for (qint64 group : groups)
            left += TestServer::liveMembersOfGroup(group);
        if (!left.isEmpty())
            QThread::msleep(50);
    } while (!left.isEmpty() && !deadline.hasExpired());
    EXPECT_TRUE(left.isEmpty()) << left.size() << " processes outlived the test binary";
    for (qint64 group : groups)
        ::kill(-pid_t(group), SIGKILL);
}
