#include "tasks/TestServiceTask.h"

#include <stdexcept>

#include "model/SyncableObjectMO.h"

void TestServiceTask::registerKind(QStringList *journal) {
    RemoteServiceTask::registerKind(QLatin1String(kServiceName), [journal](ModelObject *service) {
        return std::make_unique<TestServiceTask>(service, journal);
    });
}

void TestServiceTask::unregisterKind() {
    RemoteServiceTask::registerKind(QLatin1String(kServiceName), {});
}

TestServiceTask::TestServiceTask(ModelObject *service, QStringList *journal)
    : RemoteServiceTask(service), m_journal(journal) {}

void TestServiceTask::startOfSync() {
    m_journal->append(QStringLiteral("start"));
    forcedDuringCycle = forcedSync();
    setNextStep([this] { request(); });
}

void TestServiceTask::request() {
    if (SyncableObjectMO::syncingService() != remoteService())
        throw std::logic_error("a step ran without its service marked as syncing");
    if (throwInRequest)
        throw std::runtime_error("server answer unreadable");
    m_journal->append(QStringLiteral("request"));
    setNextStep([this] { finish(); });
    block();
}

void TestServiceTask::answer() {
    m_journal->append(QStringLiteral("answer"));
    unblock();
}

void TestServiceTask::finish() {
    qint64 state = 0;
    if (!outcomes.empty()) {
        state = outcomes.front();
        outcomes.pop_front();
    }
    if (state != 0)
        setSyncErrorString(QStringLiteral("failed with %1").arg(state));
    m_journal->append(QStringLiteral("finish %1").arg(state));
    syncCompletedWithState(state);
}

void TestServiceTask::cleanup() {
    ++cleanups;
}

void TestServiceTask::flushCaches() {
    ++cacheFlushes;
}
