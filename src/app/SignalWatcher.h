#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a Qt signal delivered on the event loop
// (through a self-pipe), so that shutdown runs as ordinary code.
class SignalWatcher : public QObject {
    Q_OBJECT
public:
    explicit SignalWatcher(QObject *parent = nullptr);
    ~SignalWatcher() override;

signals:
    void terminationRequested(int signalNumber);

private:
    void readSignal();
    QSocketNotifier *m_notifier = nullptr;
};
