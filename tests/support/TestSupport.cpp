#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QHash>
#include <QProcess>

TemporaryHome::TemporaryHome() : m_previousHome(qgetenv("MEROVAN_HOME")) {
    qputenv("MEROVAN_HOME", m_dir.path().toUtf8());
    m_preferences = std::make_unique<Preferences>(m_dir.filePath(QStringLiteral("test.conf")));
    Preferences::setShared(m_preferences.get());
}

TemporaryHome::~TemporaryHome() {
    Preferences::setShared(nullptr);
    qputenv("MEROVAN_HOME", m_previousHome);
}

LogCapture::LogCapture() : m_previousMask(Log::mask()) {
    Log::setMask(63);
    Log::addSink(this);
}

LogCapture::~LogCapture() {
    Log::removeSink(this);
    Log::setMask(m_previousMask);
}

bool LogCapture::contains(const QString &text) const {
    return count(text) > 0;
}

int LogCapture::count(const QString &text) const {
    int n = 0;
    for (const LogMessage &message : m_messages)
        n += message.text.contains(text) ? 1 : 0;
    return n;
}

ScopedManualClock::ScopedManualClock(Date start) : ManualClock(start) {
    Clock::setShared(this);
}

ScopedManualClock::~ScopedManualClock() {
    Clock::setShared(nullptr);
}

QString merovanExecutable() {
    return QDir(qEnvironmentVariable("MEROVAN_BINARY_DIR"))
        .filePath(QStringLiteral("src/app/merovan"));
}

QString sourcePath(const QString &relative) {
    return QDir(qEnvironmentVariable("MEROVAN_SOURCE_DIR")).filePath(relative);
}

ProcessResult runMerovan(const QStringList &arguments, const QProcessEnvironment &extra,
                         int timeoutMs) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(extra);
    process.setProcessEnvironment(environment);
    process.start(merovanExecutable(), arguments);
    return finishProcess(process, timeoutMs);
}

ProcessResult finishProcess(QProcess &process, int timeoutMs) {
    ProcessResult result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.err = QStringLiteral("timed out");
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

namespace {
QHash<QByteArray, ChildRoutine> &childRoutines() {
    static QHash<QByteArray, ChildRoutine> routines;
    return routines;
}
}  // namespace

ChildRoutineRegistration::ChildRoutineRegistration(const char *name, ChildRoutine routine) {
    childRoutines().insert(name, routine);
}

ChildRoutine childRoutineToRun() {
    const QByteArray name = qgetenv("MEROVAN_TEST_CHILD");
    return name.isEmpty() ? nullptr : childRoutines().value(name);
}

std::unique_ptr<QProcess> startChildRoutine(const char *name, const QProcessEnvironment &extra) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(extra);
    environment.insert(QStringLiteral("MEROVAN_TEST_CHILD"), QString::fromLatin1(name));
    process->setProcessEnvironment(environment);
    process->start(QCoreApplication::applicationFilePath(), {});
    return process;
}

ProcessResult runChildRoutine(const char *name, const QProcessEnvironment &extra, int timeoutMs) {
    std::unique_ptr<QProcess> process = startChildRoutine(name, extra);
    return finishProcess(*process, timeoutMs);
}
