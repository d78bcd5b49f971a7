#pragma once

#include <QStringList>
#include <deque>

#include "tasks/RemoteServiceTask.h"

// A kind of service for tests, "Test Synchronization". Each cycle takes
// three slices: startOfSync, then a request that blocks until the test calls
// answer(), then the end of the cycle with the next of `outcomes` (0 when
// none is left). `throwInRequest` makes the request step throw.
class TestServiceTask : public RemoteServiceTask {
public:
    static constexpr char kServiceName[] = "Test Synchronization";
    static void registerKind(QStringList *journal);
    static void unregisterKind();

    TestServiceTask(ModelObject *service, QStringList *journal);
    bool autoWakeupOnServerChanges() const override { return m_push; }
    void setPush(bool push) { m_push = push; }

    // The server's answer arrives (on the main thread).
    void answer();

    std::deque<qint64> outcomes;
    bool throwInRequest = false;
    int cleanups = 0;
    int cacheFlushes = 0;
    bool forcedDuringCycle = false;

protected:
    void startOfSync() override;
    void cleanup() override;
    void flushCaches() override;

private:
    void request();
    void finish();
    QStringList *m_journal;
    bool m_push = false;
};
