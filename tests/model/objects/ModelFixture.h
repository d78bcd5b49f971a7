#pragma once

#include <gtest/gtest.h>

#include <QStringList>
#include <QTemporaryDir>
#include <memory>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"

// Records what the object model tells the task framework, one line per call:
// "tickle <publisher uid> <seconds> <container?>", "pending <uid>",
// "delay <uid>", "greatlyDelay <uid> <flag>", "received <uid>".
class RecordingSyncHooks : public SyncHooks {
public:
    void tickleBonjourPublisher(ModelObject *publisher, Date updateTime,
                                bool containerChanged) override;
    void notePendingChanges(ModelObject *service) override;
    void delaySyncIfNeeded(ModelObject *service) override;
    void greatlyDelaySyncIfNeeded(ModelObject *service, bool delay) override;
    void objectReceived(ModelObject *syncableObject) override;

    QStringList calls;
};

// A store of the real schema in a temporary folder with its main context, a
// manual clock, the recording hooks and a fixed user name. reopen() closes
// the store and opens it again as a new launch would.
class ModelTest : public ::testing::Test {
protected:
    static constexpr double kStart = 700000000;

    ModelTest();
    ~ModelTest() override;

    void reopen();
    ManagedObjectContext &context() { return *m_context; }
    QString path() const { return m_dir.filePath(QStringLiteral("Model.bsql")); }

    ModelObject *makeService(const QString &serviceName, const QString &uid,
                             bool autoPublishChanges = false);
    // A calendar: its syncable object and data object, linked, owned by `owner`.
    CommonDataMO *makeCalendar(const QString &uid, ModelObject *owner = nullptr);
    // An item of the calendar (entity "Event" or "DetachedEvent").
    CommonDataMO *makeItem(CommonDataMO *calendar, const QString &uid,
                           const QString &entity = QStringLiteral("Event"));
    ExtraDataMO *makeExtra(const QString &entity, CommonDataMO *parent);

    // The object of the entity with the uid after a fetch (nullptr if none).
    template <typename T = ModelObject>
    T *fetchByUID(const QString &entity, const QString &uid) {
        return ModelObject::as<T>(fetchObjectByUID(entity, uid));
    }

    QTemporaryDir m_dir;
    ScopedManualClock m_clock{Date(kStart)};
    RecordingSyncHooks m_hooks;
    std::unique_ptr<PersistentStore> m_store;
    std::unique_ptr<ManagedObjectContext> m_context;

private:
    ManagedObject *fetchObjectByUID(const QString &entity, const QString &uid);
};

// Runs `body` with a sync of `service` in progress.
template <typename Body>
void whileSyncing(ModelObject *service, Body body) {
    SyncableObjectMO::syncInProgress(true, service);
    try {
        body();
    } catch (...) {
        SyncableObjectMO::syncInProgress(false, service);
        throw;
    }
    SyncableObjectMO::syncInProgress(false, service);
}
