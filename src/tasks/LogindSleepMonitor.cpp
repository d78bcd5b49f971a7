#include "tasks/LogindSleepMonitor.h"

#include "model/foundation/Log.h"

LogindSleepMonitor::LogindSleepMonitor(const QDBusConnection &bus, QObject *parent)
    : SleepMonitor(parent) {
    QDBusConnection connection = bus;
    if (!connection.isConnected()) {
        logInfo("SleepMonitor: no system bus, waking from sleep is not noticed");
        return;
    }
    m_listening =
        connection.connect(QString(), QStringLiteral("/org/freedesktop/login1"),
                           QStringLiteral("org.freedesktop.login1.Manager"),
                           QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
}

LogindSleepMonitor::~LogindSleepMonitor() = default;

void LogindSleepMonitor::prepareForSleep(bool sleeping) {
    if (!sleeping)
        emit awoke();
}
