#pragma once

#include <QDBusConnection>

#include "tasks/SleepMonitor.h"

// The login manager's announcements on the system bus: "PrepareForSleep"
// with false means the computer has woken. Without a bus nothing is
// announced (logged once).
class LogindSleepMonitor : public SleepMonitor {
    Q_OBJECT
public:
    // Listens on `bus` (the system bus in the program).
    explicit LogindSleepMonitor(const QDBusConnection &bus = QDBusConnection::systemBus(),
                                QObject *parent = nullptr);
    ~LogindSleepMonitor() override;
    bool isListening() const { return m_listening; }

private slots:
    void prepareForSleep(bool sleeping);

private:
    bool m_listening = false;
};
