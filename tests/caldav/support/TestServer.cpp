#include "caldav/support/TestServer.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

TestServer::TestServer() = default;

TestServer::~TestServer() {
    stop();
}

QList<qint64> TestServer::liveMembersOfGroup(qint64 group) {
    QList<qint64> members;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric)
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (comm) state ppid pgrp ...": the name may hold spaces.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 2 && fields[2].toLongLong() == group && fields[0] != "Z")
            members.append(pid);
    }
    return members;
}

quint16 TestServer::freePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

QString TestServer::requireProgram(const QString &program, const QString &package) {
    if (!QStandardPaths::findExecutable(program).isEmpty())
        return {};
    return QStringLiteral(
               "%1 is missing: install the Debian package %2 "
               "(scripts/test-packages.txt lists it)")
        .arg(program, package);
}

QString TestServer::url(const QString &path) const {
    return QStringLiteral("%1://127.0.0.1:%2%3")
        .arg(usesTLS() ? QStringLiteral("https") : QStringLiteral("http"))
        .arg(m_port)
        .arg(path);
}

QString TestServer::logText() const {
    QFile log(m_dir.filePath(QStringLiteral("server.log")));
    return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll().right(4000)) : QString();
}

bool TestServer::portAccepts() const {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_port);
    return socket.waitForConnected(200);
}

QString TestServer::start() {
    if (!m_dir.isValid())
        return QStringLiteral("no temporary folder");
    m_port = freePort();
    m_program.clear();
    m_arguments.clear();
    if (const QString error = prepare(m_program, m_arguments); !error.isEmpty())
        return error;
    if (const QString error = launch(); !error.isEmpty())
        return error;
    return setUp();
}

QString TestServer::restart() {
    stop();
    if (m_program.isEmpty())
        return QStringLiteral("the server was never started");
    return launch();
}

QString TestServer::launch() {
    m_process = std::make_unique<QProcess>();
    // The group leader is a shell that outlives the server on SIGTERM (so
    // that stop() waits for a clean shutdown) and kills the whole group when
    // this test binary dies: a parent-death signal set on the server itself
    // would not reach what it starts, and is dropped by the user switch of
    // setpriv.
    m_process->setProgram(QStringLiteral("/bin/sh"));
    m_process->setArguments(QStringList{QStringLiteral("-c"),
                                        QStringLiteral("trap 'kill -KILL 0' HUP; trap wait TERM; "
                                                       "\"$0\" \"$@\" & wait $!; wait"),
                                        m_program} +
                            m_arguments);
    m_process->setWorkingDirectory(m_dir.path());
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->setStandardOutputFile(m_dir.filePath(QStringLiteral("server.log")),
                                     QIODevice::Append);
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    // Its own session: stop() reaches every process the server starts. The
    // parent-death signal follows the thread that starts the process, which
    // is why servers are started on the thread that runs the tests.
    const pid_t testProcess = ::getpid();
    m_process->setChildProcessModifier([testProcess] {
        ::setsid();
        ::prctl(PR_SET_PDEATHSIG, SIGHUP);
        if (::getppid() != testProcess)  // died before the signal was armed
            ::_exit(127);
    });
    m_process->start();
    if (!m_process->waitForStarted(10000))
        return QStringLiteral("%1 did not start: %2").arg(m_program, m_process->errorString());
    // Bounded poll: the port accepts, or the process has exited.
    const QDeadlineTimer deadline(startSeconds() * 1000);
    while (!portAccepts()) {
        if (m_process->waitForFinished(50))
            return QStringLiteral("%1 exited early:\n%2").arg(m_program, logText());
        if (deadline.hasExpired())
            return QStringLiteral("%1 did not listen within %2 s:\n%3")
                .arg(m_program)
                .arg(startSeconds())
                .arg(logText());
    }
    return {};
}

void TestServer::stop() {
    if (!m_process || m_process->state() == QProcess::NotRunning) {
        m_process.reset();
        return;
    }
    const pid_t group = pid_t(m_process->processId());
    ::kill(-group, SIGTERM);
    if (!m_process->waitForFinished(10000)) {
        ::kill(-group, SIGKILL);
        m_process->waitForFinished(5000);
    }
    // Children that outlived the leader. The folder goes once they are gone
    // too: a database still dying writes its last files into it.
    ::kill(-group, SIGKILL);
    const QDeadlineTimer deadline(5000);
    while (!liveMembersOfGroup(group).isEmpty() && !deadline.hasExpired())
        QThread::msleep(10);
    m_process.reset();
}
