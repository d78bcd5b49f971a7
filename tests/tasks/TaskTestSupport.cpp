#include "tasks/TaskTestSupport.h"

#include <QCoreApplication>
#include <QProcess>

#include "model/Schema.h"

ScriptedTask::ScriptedTask(const QString &name, QStringList *journal, Slice slice)
    : m_journal(journal), m_slice(std::move(slice)) {
    setName(name);
}

void ScriptedTask::note(const QString &what, int count) {
    QString line = what + QLatin1Char(' ') + name();
    if (count >= 0)
        line += QLatin1Char(' ') + QString::number(count);
    m_journal->append(line);
}

void ScriptedTask::started() {
    note(QStringLiteral("started"));
}

void ScriptedTask::run() {
    ++runs;
    note(QStringLiteral("run"));
    if (m_slice)
        m_slice(*this);
    else
        setNextWakeup(Task::kDistantFuture);
}

void ScriptedTask::terminate() {
    ++terminations;
    note(QStringLiteral("terminated"));
    Task::terminate();
}

void ScriptedTask::awakeFromSleep() {
    note(QStringLiteral("awake"));
}

void ScriptedTask::reportHang() {
    note(QStringLiteral("hang"));
}

void ScriptedTask::objectsDidChange(const ChangeSet &changes) {
    note(QStringLiteral("changed"), int(changes.inserted.size() + changes.updated.size()));
}

void ScriptedTask::objectsDidSave(const ChangeSet &changes) {
    note(QStringLiteral("saved"), int(changes.inserted.size() + changes.updated.size()));
}

TaskManagerTest::TaskManagerTest() {
    if (TaskManager::hasSharedManager())
        ADD_FAILURE() << "a test left the task manager running";
    manager().setMonotonicSource([this] { return monotonic; });
}

TaskManagerTest::~TaskManagerTest() {
    TaskManager::stopSharedManager();
    m_context.reset();
    m_store.reset();
}

ScriptedTask *TaskManagerTest::add(const QString &name, double dueIn, ScriptedTask::Slice slice) {
    auto task = std::make_unique<ScriptedTask>(name, &journal, std::move(slice));
    task->setNextWakeup(m_clock.now().addingSeconds(dueIn));
    return static_cast<ScriptedTask *>(manager().addTask(std::move(task)));
}

ManagedObjectContext &TaskManagerTest::context() {
    if (!m_context) {
        m_store = std::make_unique<PersistentStore>(&Schema::model(),
                                                    m_dir.filePath(QStringLiteral("Tasks.bsql")));
        m_context = std::make_unique<ManagedObjectContext>(m_store.get());
    }
    return *m_context;
}

ProcessResult runOnPrivateBus(const char *routine) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MEROVAN_TEST_CHILD"), QString::fromLatin1(routine));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral("sh"), {QStringLiteral(MEROVAN_KEYRING_SCRIPT),
                                         QCoreApplication::applicationFilePath()});
    return finishProcess(process, 120000);
}
