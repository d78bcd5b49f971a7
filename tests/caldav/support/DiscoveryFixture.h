#pragma once

#include <QTemporaryDir>
#include <memory>

#include "caldav/CalDAVAccountCheck.h"
#include "model/ModelObject.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"
#include "tasks/MemoryCredentialStore.h"

// A store with CalDAV services to discover, the passwords in memory, the
// log captured, and the shared task manager stopped afterwards.
class DiscoveryFixture {
public:
    DiscoveryFixture();
    ~DiscoveryFixture();
    DiscoveryFixture(const DiscoveryFixture &) = delete;
    DiscoveryFixture &operator=(const DiscoveryFixture &) = delete;

    // A new CalDAV service as the account commands make it: the address the
    // user gave, the login and the password still to be stored.
    ModelObject *makeService(const QString &address, const QString &login, const QString &password);
    // The same in any store.
    static ModelObject *makeService(ManagedObjectContext *context, const QString &address,
                                    const QString &login, const QString &password);
    // Runs the first cycle of the service (bounded).
    CalDAVAccountCheck::Outcome discover(ModelObject *service);
    QVariantMap syncData(const ModelObject *service) const;
    // The hrefs of the collections listed in the sync data.
    QStringList collectionHrefs(const ModelObject *service) const;

    MemoryCredentialStore credentials;
    LogCapture log;

private:
    QTemporaryDir m_dir;
    std::unique_ptr<PersistentStore> m_store;
    std::unique_ptr<ManagedObjectContext> m_context;
};
