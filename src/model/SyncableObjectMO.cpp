#include "model/SyncableObjectMO.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "model/CommonDataMO.h"
#include "model/CurrentUser.h"
#include "model/SyncHooks.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"

namespace {

const QString kLastModTime = QStringLiteral("lastModTime");
const QString kLastModBy = QStringLiteral("lastModBy");
const QString kLocalReceivedTime = QStringLiteral("localReceivedTime");
const QString kOwnerLastModTime = QStringLiteral("ownerLastModTime");

// Which service, if any, is storing server data now. Main thread only.
struct SyncState {
    bool active = false;
    ModelObject *service = nullptr;
};
SyncState g_sync;
QList<SyncState> g_suspended;
bool g_editInProgress = false;
// Open local-change batches, and the objects changed in them. Main thread only.
int g_localChangeBatches = 0;
std::vector<SyncableObjectMO *> g_batchedChanges;

QVariant serviceName(const ModelObject *service) {
    return service ? service->valueForKey(QStringLiteral("serviceName")) : QVariant();
}

void requireMainThread(const char *message) {
    const QCoreApplication *application = QCoreApplication::instance();
    if (!application || QThread::currentThread() != application->thread())
        throw std::logic_error(message);
}

}  // namespace

SyncableObjectMO::SyncableObjectMO(const EntityDescription *entity, ManagedObjectContext *context)
    : ModelObject(entity, context) {}

void SyncableObjectMO::awakeFromInsert() {
    if (isSyncInProgress())
        return;
    assignUID();
    noteLocalChange();
}

// --- Relationships -------------------------------------------------------------

CommonDataMO *SyncableObjectMO::objectData() const {
    return as<CommonDataMO>(objectForKey(QStringLiteral("objectData")));
}

SyncableObjectMO *SyncableObjectMO::parentContainer() const {
    return as<SyncableObjectMO>(objectForKey(QStringLiteral("parentContainer")));
}

ModelObject *SyncableObjectMO::ownedBy() const {
    return as<ModelObject>(objectForKey(QStringLiteral("ownedBy")));
}

SyncableObjectMO *SyncableObjectMO::parentSyncableContainer() const {
    return isSyncableContainer() ? const_cast<SyncableObjectMO *>(this) : parentContainer();
}

ModelObject *SyncableObjectMO::owningService() const {
    const SyncableObjectMO *container = parentSyncableContainer();
    return container ? container->ownedBy() : nullptr;
}

// --- Stamps ----------------------------------------------------------------------

void SyncableObjectMO::touchLastModTime() {
    stamp(true);
}

void SyncableObjectMO::touchReceivedTime() {
    stamp(false);
}

void SyncableObjectMO::stamp(bool modification) {
    const Date now = Clock::shared().now();
    if (modification) {
        setDateValue(now, kLastModTime);
        setStoredValue(kLastModBy, CurrentUser::name());
    }
    setDateValue(now, kLocalReceivedTime);
    pushChangeToPublishers(now);
    touchLocalChange();
}

void SyncableObjectMO::touchLocalChange() {
    if (isSyncInProgress())
        SyncHooks::shared().objectReceived(this);
}

bool SyncableObjectMO::isLocallyModified() const {
    const std::optional<Date> owner = dateValueForKey(kOwnerLastModTime);
    return !owner || owner != dateValueForKey(kLastModTime);
}

void SyncableObjectMO::noteLocalChange() {
    if (isSyncInProgress())
        return;
    if (g_localChangeBatches > 0) {
        if (std::find(g_batchedChanges.cbegin(), g_batchedChanges.cend(), this) ==
            g_batchedChanges.cend())
            g_batchedChanges.push_back(this);
        return;
    }
    touchLastModTime();
    delaySyncWithOwner();
}

SyncableObjectMO::LocalChangeBatch::LocalChangeBatch() {
    ++g_localChangeBatches;
}

SyncableObjectMO::LocalChangeBatch::~LocalChangeBatch() {
    if (--g_localChangeBatches > 0)
        return;
    const std::vector<SyncableObjectMO *> changed = std::exchange(g_batchedChanges, {});
    for (SyncableObjectMO *object : changed) {
        if (object->isDeleted() || !object->managedObjectContext())
            continue;
        try {
            object->noteLocalChange();
        } catch (const std::exception &error) {
            logError("LocalChangeBatch: cannot stamp %@: %s", object->uid(), error.what());
        }
    }
}

// --- Propagation -------------------------------------------------------------------

void SyncableObjectMO::pushChangeToPublishers(Date changeTime) {
    SyncableObjectMO *container = parentSyncableContainer();
    if (!container)
        return;
    QList<ManagedObject *> services = container->objectsForKey(QStringLiteral("publishedTo"));
    if (ModelObject *owner = container->ownedBy(); owner && !services.contains(owner))
        services.append(owner);
    SyncHooks &hooks = SyncHooks::shared();
    for (ManagedObject *object : services) {
        auto *service = as<ModelObject>(object);
        if (service->entityName() == QLatin1String("BonjourPublisher")) {
            hooks.tickleBonjourPublisher(service, changeTime, container == this);
        } else if ((!g_sync.active || service != g_sync.service) &&
                   service->boolValueForKey(QStringLiteral("autoPublishChanges"))) {
            logInfo("pushChangeTo: %@", serviceName(service));
            hooks.notePendingChanges(service);
        }
    }
}

void SyncableObjectMO::delaySyncWithOwner() {
    if (ModelObject *owner = owningService())
        SyncHooks::shared().delaySyncIfNeeded(owner);
}

void SyncableObjectMO::greatlyDelaySyncWithOwner(bool delay) {
    if (ModelObject *owner = owningService())
        SyncHooks::shared().greatlyDelaySyncIfNeeded(owner, delay);
}

void SyncableObjectMO::ignoreConflictWhenStored() {
    const QString kind = serviceName(owningService()).toString();
    if (kind == QLatin1String("CalDAV Synchronization") ||
        kind == QLatin1String("Exchange Synchronization"))
        setBoolValue(true, QStringLiteral("transIgnoreConflict"));
}

// --- Sync in progress ------------------------------------------------------------

void SyncableObjectMO::syncInProgress(bool inProgress, ModelObject *service) {
    if (inProgress && g_sync.active)
        throw std::invalid_argument(format("syncInProgress YES with %@: already synching with %@",
                                           serviceName(service), serviceName(g_sync.service))
                                        .toStdString());
    if (!inProgress && !g_sync.active)
        throw std::invalid_argument(
            format("syncInProgress NO with %@: not synching", serviceName(service)).toStdString());
    g_sync = inProgress ? SyncState{true, service} : SyncState{};
}

bool SyncableObjectMO::isSyncInProgress() {
    return g_sync.active;
}

ModelObject *SyncableObjectMO::syncingService() {
    return g_sync.service;
}

bool SyncableObjectMO::syncInProgressWithOwner() const {
    ModelObject *owner = owningService();
    return g_sync.active && owner && owner == g_sync.service;
}

void SyncableObjectMO::suspendSyncInProgress() {
    requireMainThread("suspendSyncInProgress: not in main run loop");
    g_suspended.append(g_sync);
    g_sync = SyncState{};
}

void SyncableObjectMO::resumeSyncInProgress() {
    requireMainThread("resumeSyncInProgress: not in main run loop");
    if (!g_suspended.isEmpty())
        g_sync = g_suspended.takeLast();
}

void SyncableObjectMO::setEditInProgress(bool editing) {
    g_editInProgress = editing;
}

bool SyncableObjectMO::editInProgress() {
    return g_editInProgress;
}
