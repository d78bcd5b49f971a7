#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>
#include <vector>

#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/foundation/Preferences.h"

// A fresh application-support folder for one test: $MEROVAN_HOME points into
// it and the shared preferences live in it, until the object goes away.
class TemporaryHome {
public:
    TemporaryHome();
    ~TemporaryHome();
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }
    Preferences &preferences() { return *m_preferences; }

private:
    QTemporaryDir m_dir;
    QByteArray m_previousHome;
    std::unique_ptr<Preferences> m_preferences;
};

// Collects every message written while it exists, whatever the mask says
// about files: the mask is widened to everything for its lifetime.
class LogCapture : public LogSink {
public:
    LogCapture();
    ~LogCapture() override;
    void logMessage(const LogMessage &message) override { m_messages.push_back(message); }

    const std::vector<LogMessage> &messages() const { return m_messages; }
    bool contains(const QString &text) const;
    void clear() { m_messages.clear(); }
    int count(const QString &text) const;

private:
    int m_previousMask;
    std::vector<LogMessage> m_messages;
};

// A ManualClock installed as the process clock for the lifetime of the object.
class ScopedManualClock : public ManualClock {
public:
    explicit ScopedManualClock(Date start = Date(800000000.0));
    ~ScopedManualClock() override;
};

struct ProcessResult {
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs the merovan executable of this build with the given arguments and
// environment additions; gives up after `timeoutMs`.
ProcessResult runMerovan(const QStringList &arguments, const QProcessEnvironment &extra = {},
                         int timeoutMs = 60000);
QString merovanExecutable();
// Waits for the started process (killing it after `timeoutMs`) and collects
// its exit code and output.
ProcessResult finishProcess(QProcess &process, int timeoutMs);
// A file of the source tree (for test data).
QString sourcePath(const QString &relative);

// Child routines: a test can run code in a separate process (to kill it, or
// to read back what another process wrote). The test binary runs the routine
// named by $MEROVAN_TEST_CHILD instead of the tests; its return value is the
// exit code.
using ChildRoutine = int (*)();
struct ChildRoutineRegistration {
    ChildRoutineRegistration(const char *name, ChildRoutine routine);
};
#define MEROVAN_CHILD_ROUTINE(name)                                                      \
    static int name##ChildRoutine();                                                     \
    static const ChildRoutineRegistration name##Registration(#name, name##ChildRoutine); \
    static int name##ChildRoutine()
// Runs the routine in a child process of this test binary with the given
// environment additions; returns when it exits or after timeoutMs.
ProcessResult runChildRoutine(const char *name, const QProcessEnvironment &extra = {},
                              int timeoutMs = 120000);
// Starts it without waiting; the caller owns the process.
std::unique_ptr<QProcess> startChildRoutine(const char *name,
                                            const QProcessEnvironment &extra = {});
// The routine named in the environment, if this process is a child.
ChildRoutine childRoutineToRun();
