#include "caldav/support/DiscoveryFixture.h"

#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "tasks/CredentialStore.h"
#include "tasks/TaskManager.h"

DiscoveryFixture::DiscoveryFixture() {
    CalDAVSyncTask::registerKind();
    CredentialStore::setShared(&credentials);
    m_store = std::make_unique<PersistentStore>(&Schema::model(),
                                                m_dir.filePath(QStringLiteral("Accounts.bsql")));
    m_context = std::make_unique<ManagedObjectContext>(m_store.get());
    Queries::setContext(m_context.get());
}

DiscoveryFixture::~DiscoveryFixture() {
    TaskManager::stopSharedManager();
    CredentialStore::setShared(nullptr);
    Queries::setContext(nullptr);
    m_context.reset();
    m_store.reset();
}

ModelObject *DiscoveryFixture::makeService(const QString &address, const QString &login,
                                           const QString &password) {
    return makeService(m_context.get(), address, login, password);
}

ModelObject *DiscoveryFixture::makeService(ManagedObjectContext *context, const QString &address,
                                           const QString &login, const QString &password) {
    auto *service =
        ModelObject::as<ModelObject>(context->insertNewObject(QStringLiteral("RemoteService")));
    service->setValue(QStringLiteral("serviceName"), QLatin1String(CalDAVSyncTask::kServiceName));
    service->assignUID();
    service->setValue(QStringLiteral("urlAlternate"), address);
    service->setMaskedStringValue(login, QStringLiteral("login"));
    service->setMaskedStringValue(password, QStringLiteral("transPassword"));
    service->setDoubleValue(900, QStringLiteral("syncInterval"));
    return service;
}

CalDAVAccountCheck::Outcome DiscoveryFixture::discover(ModelObject *service) {
    return CalDAVAccountCheck::runFirstCycle(service, 60);
}

QVariantMap DiscoveryFixture::syncData(const ModelObject *service) const {
    return CalDAVServiceInfo::syncDataForService(service);
}

QStringList DiscoveryFixture::collectionHrefs(const ModelObject *service) const {
    QStringList hrefs;
    for (const QVariant &collection :
         syncData(service).value(QStringLiteral("collections")).toList())
        hrefs.append(collection.toMap().value(QStringLiteral("href")).toString());
    return hrefs;
}
