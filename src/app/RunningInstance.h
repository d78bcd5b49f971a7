#pragma once

#include <QObject>
#include <QSet>
#include <QString>

#include "model/foundation/Clock.h"
#include "tasks/TaskDelegate.h"

class QLocalServer;
class QLocalSocket;

// The application while it runs in the foreground, as the other runs of the
// program (the commands) see it. Only one runs per store: it answers on the
// local socket "_instance" of the application-support folder.
//
// The store belongs to the running application. A command that opens the
// store meanwhile first holds the application (InstanceHold), one line each
// way over that socket:
//   "hold"    → the application stops its sync tasks (a cycle under way is
//               abandoned and commits nothing), saves the store and answers
//               "held"; from then on it leaves the store alone;
//   "release" → (or the command's connection closing) once nobody holds it any
//               more, the application reads the store again as the commands
//               left it, starts the task of every account again, and asks the
//               accounts whose items were changed here for a sync soon
//               (notePendingChanges).
// So "sync" run meanwhile runs its own cycle on the store the application
// has let go of, and the application reads what it pulled when released.
// A cycle that ends saves the store, so that what it pulled and pushed is
// kept even if the application is stopped abruptly.
class RunningInstance : public QObject, public TaskDelegate {
public:
    RunningInstance();
    ~RunningInstance() override;

    // The socket of the application using the current application-support folder.
    static QString socketPath();
    // Whether an application answers on the socket.
    static bool isRunning();

    // Starts answering; false (logged) when the socket cannot be made.
    bool listen();
    // Asks the task of every account with local changes not yet on its
    // server for a sync soon.
    static void notePendingLocalChanges();

    // TaskDelegate: the end of a cycle saves the store.
    void stateChange(qint64 state, RemoteServiceTask *task) override;

private:
    void accept();
    void readLines(QLocalSocket *socket);
    void hold(QLocalSocket *socket);
    void release(QLocalSocket *socket);
    static void saveStore();
    static void readStoreAgain();

    QLocalServer *m_server;
    QSet<QLocalSocket *> m_holders;
    ClockTimer m_saveTimer;
};
