#pragma once

#include <gtest/gtest.h>

#include <QStringList>
#include <QTemporaryDir>
#include <functional>
#include <memory>

#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"
#include "tasks/Task.h"
#include "tasks/TaskManager.h"
#include "tasks/TaskManagerDelegate.h"

// A task whose slices do what the test says and that writes what happens to
// it into a shared journal ("run A", "started A", "terminated A", ...).
class ScriptedTask : public Task {
public:
    using Slice = std::function<void(ScriptedTask &)>;

    ScriptedTask(const QString &name, QStringList *journal, Slice slice = {});
    void started() override;
    void run() override;
    void terminate() override;
    void awakeFromSleep() override;
    void reportHang() override;
    void objectsDidChange(const ChangeSet &changes) override;
    void objectsDidSave(const ChangeSet &changes) override;

    int runs = 0;
    int terminations = 0;

private:
    void note(const QString &what, int count = -1);
    QStringList *m_journal;
    Slice m_slice;
};

// A task manager on the manual clock, with slices measured on a clock the
// test moves (`monotonic`), a store in a temporary folder, and the log.
class TaskManagerTest : public ::testing::Test {
protected:
    static constexpr double kStart = 800000000;

    TaskManagerTest();
    ~TaskManagerTest() override;

    TaskManager &manager() { return TaskManager::sharedManager(); }
    ScriptedTask *add(const QString &name, double dueIn = 0, ScriptedTask::Slice slice = {});
    // Moves the clock by `seconds`, running whatever falls due.
    void advance(double seconds) { m_clock.advance(seconds); }
    ManagedObjectContext &context();

    QStringList journal;
    double monotonic = 0;
    ScopedManualClock m_clock{Date(kStart)};
    LogCapture m_log;

private:
    QTemporaryDir m_dir;
    std::unique_ptr<PersistentStore> m_store;
    std::unique_ptr<ManagedObjectContext> m_context;
};

// Runs the child routine of this test binary on a private D-Bus session
// with an unlocked keyring of its own.
ProcessResult runOnPrivateBus(const char *routine);
