#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

// A real server started for a test: its own process group, a new temporary
// folder, a free port on 127.0.0.1. start() returns once it answers (a
// bounded poll) or says why it could not; a missing program is an error that
// names the Debian package, never a reason to skip. The destructor stops the
// whole process group; when the test binary dies without it (a crash, a
// timeout's kill), the group is killed too. Start servers on the thread that
// runs the tests: the group goes when the starting thread ends.
class TestServer {
public:
    TestServer();
    virtual ~TestServer();
    TestServer(const TestServer &) = delete;
    TestServer &operator=(const TestServer &) = delete;

    // Empty when the server runs; otherwise what went wrong.
    QString start();
    void stop();
    // Starts the stopped server again on its port, with what it stored.
    QString restart();

    quint16 port() const { return m_port; }
    // The process group of the running server; 0 when it is not running.
    qint64 processGroup() const { return m_process ? m_process->processId() : 0; }
    QString folder() const { return m_dir.path(); }
    // "http://127.0.0.1:PORT" (or https) followed by `path`.
    QString url(const QString &path) const;

    // The processes of the group that still run (zombies waiting for a
    // reaper hold no port and no file, and do not count).
    static QList<qint64> liveMembersOfGroup(qint64 group);
    // A port nothing listens on right now.
    static quint16 freePort();
    // Empty when `program` is on the PATH, else the error for the missing package.
    static QString requireProgram(const QString &program, const QString &package);

protected:
    // Writes the configuration and names the command; empty on success.
    virtual QString prepare(QString &program, QStringList &arguments) = 0;
    // Runs once the port accepts connections: makes users and collections.
    virtual QString setUp() { return {}; }
    virtual bool usesTLS() const { return false; }
    // Seconds the poll waits at most for the port.
    virtual int startSeconds() const { return 20; }
    QString logText() const;

    QTemporaryDir m_dir;
    quint16 m_port = 0;

private:
    bool portAccepts() const;
    QString launch();
    QString m_program;
    QStringList m_arguments;
    std::unique_ptr<QProcess> m_process;
};
