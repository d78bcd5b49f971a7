#pragma once

#include <QObject>

// Tells when the computer woke from sleep.
class SleepMonitor : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~SleepMonitor() override;

signals:
    void awoke();
};
