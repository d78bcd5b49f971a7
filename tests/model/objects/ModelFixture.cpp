#include "model/objects/ModelFixture.h"

#include "model/CurrentUser.h"
#include "model/Schema.h"

namespace {
QString uidOf(const ModelObject *object) {
    return object ? object->uid() : QStringLiteral("-");
}
}  // namespace

void RecordingSyncHooks::tickleBonjourPublisher(ModelObject *publisher, Date updateTime,
                                                bool containerChanged) {
    calls << QStringLiteral("tickle %1 %2 %3")
                 .arg(uidOf(publisher))
                 .arg(updateTime.secondsSinceReference(), 0, 'f', 0)
                 .arg(containerChanged ? QStringLiteral("container") : QStringLiteral("child"));
}

void RecordingSyncHooks::notePendingChanges(ModelObject *service) {
    calls << QStringLiteral("pending ") + uidOf(service);
}

void RecordingSyncHooks::delaySyncIfNeeded(ModelObject *service) {
    calls << QStringLiteral("delay ") + uidOf(service);
}

void RecordingSyncHooks::greatlyDelaySyncIfNeeded(ModelObject *service, bool delay) {
    calls << QStringLiteral("greatlyDelay %1 %2").arg(uidOf(service)).arg(delay);
}

void RecordingSyncHooks::objectReceived(ModelObject *syncableObject) {
    calls << QStringLiteral("received ") + uidOf(syncableObject);
}

ModelTest::ModelTest() {
    SyncHooks::setShared(&m_hooks);
    CurrentUser::setNameProvider([] { return QStringLiteral("Test User"); });
    reopen();
}

ModelTest::~ModelTest() {
    m_context.reset();
    m_store.reset();
    CurrentUser::setNameProvider({});
    SyncHooks::setShared(nullptr);
    if (SyncableObjectMO::isSyncInProgress()) {
        ADD_FAILURE() << "a test left a sync in progress";
        SyncableObjectMO::syncInProgress(false, nullptr);
    }
}

void ModelTest::reopen() {
    m_context.reset();
    m_store.reset();
    m_store = std::make_unique<PersistentStore>(&Schema::model(), path());
    m_context = std::make_unique<ManagedObjectContext>(m_store.get());
}

ModelObject *ModelTest::makeService(const QString &serviceName, const QString &uid,
                                    bool autoPublishChanges) {
    auto *service =
        ModelObject::as<ModelObject>(m_context->insertNewObject(QStringLiteral("RemoteService")));
    service->setValue(QStringLiteral("serviceName"), serviceName);
    service->setValue(QStringLiteral("uid"), uid);
    service->setBoolValue(autoPublishChanges, QStringLiteral("autoPublishChanges"));
    return service;
}

CommonDataMO *ModelTest::makeCalendar(const QString &uid, ModelObject *owner) {
    auto *info = ModelObject::as<SyncableObjectMO>(
        m_context->insertNewObject(QStringLiteral("SyncableCalendar")));
    auto *calendar =
        ModelObject::as<CommonDataMO>(m_context->insertNewObject(QStringLiteral("Calendar")));
    info->setValue(QStringLiteral("uid"), uid);
    info->setObject(QStringLiteral("objectData"), calendar);
    info->setObject(QStringLiteral("ownedBy"), owner);
    return calendar;
}

CommonDataMO *ModelTest::makeItem(CommonDataMO *calendar, const QString &uid,
                                  const QString &entity) {
    auto *info = ModelObject::as<SyncableObjectMO>(
        m_context->insertNewObject(QStringLiteral("SyncableEvent")));
    auto *item = ModelObject::as<CommonDataMO>(m_context->insertNewObject(entity));
    info->setValue(QStringLiteral("uid"), uid);
    info->setObject(QStringLiteral("objectData"), item);
    info->setObject(QStringLiteral("parentContainer"), calendar->objectInfo());
    item->setObject(QStringLiteral("parentContainerDirect"), calendar);
    return item;
}

ExtraDataMO *ModelTest::makeExtra(const QString &entity, CommonDataMO *parent) {
    auto *extra = ModelObject::as<ExtraDataMO>(m_context->insertNewObject(entity));
    extra->setObject(QStringLiteral("parentObject"), parent);
    return extra;
}

ManagedObject *ModelTest::fetchObjectByUID(const QString &entity, const QString &uid) {
    FetchRequest request(entity);
    request.setPredicate(Predicate::fromFormat(QStringLiteral("uid == %@"), {uid}));
    const QList<ManagedObject *> found = m_context->executeFetchRequest(request);
    return found.isEmpty() ? nullptr : found.first();
}
