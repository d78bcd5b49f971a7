#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <cstdio>

#include "tasks/LogindSleepMonitor.h"
#include "tasks/TaskControl.h"
#include "tasks/TaskTestSupport.h"

namespace {

// A login manager's announcement sent on the session bus the harness made,
// from a connection of its own.
MEROVAN_CHILD_ROUTINE(logindWake) {
    LogindSleepMonitor monitor(QDBusConnection::sessionBus());
    if (!monitor.isListening()) {
        std::fprintf(stderr, "not listening\n");
        return 10;
    }
    int wakes = 0;
    QObject::connect(&monitor, &SleepMonitor::awoke, [&] { ++wakes; });
    QDBusConnection sender =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("logind"));
    for (bool sleeping : {true, false}) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"));
        signal << sleeping;
        sender.send(signal);
    }
    // The announcements arrive in order; going to sleep is not a wake-up.
    while (wakes == 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QCoreApplication::processEvents();
    return wakes == 1 ? 0 : 11;
}

}  // namespace

TEST(LogindSleepMonitorTest, WakesWhenTheLoginManagerSaysSleepIsOver) {
    const ProcessResult result = runOnPrivateBus("logindWake");
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

TEST(LogindSleepMonitorTest, WithoutABusNothingIsAnnounced) {
    LogCapture log;
    LogindSleepMonitor monitor(QDBusConnection(QStringLiteral("no such bus")));
    EXPECT_FALSE(monitor.isListening());
    EXPECT_TRUE(log.contains(
        QStringLiteral("SleepMonitor: no system bus, waking from sleep is not noticed")));
}

TEST_F(TaskManagerTest, WakingFromSleepReachesTheTasksThroughTheMonitor) {
    TaskControl control;
    SleepMonitor monitor;
    control.watchSleep(&monitor);
    add(QStringLiteral("A"), 100);
    journal.clear();
    emit monitor.awoke();
    EXPECT_EQ(journal, QStringList{QStringLiteral("awake A")});
}
