#include "model/CalendarAccess.h"

#include <algorithm>
#include <optional>

#include "model/CalDAVEngine.h"
#include "model/CommonDataMO.h"
#include "model/ServiceEngines.h"
#include "model/ServiceKind.h"
#include "model/SyncableObjectMO.h"

namespace {

const QString kAccess = QStringLiteral("access");
const QString kReadPassword = QStringLiteral("localReadPassword");
const QString kWritePassword = QStringLiteral("localWritePassword");

QString nameOfService(const ModelObject *service) {
    return service->valueForKey(QStringLiteral("serviceName")).toString();
}

// The remote access the service grants to the container, if it recorded one.
std::optional<int> remoteAccess(const CommonDataMO &container, const ModelObject *service) {
    const SyncableObjectMO *syncable = container.objectInfo();
    if (!syncable)
        return std::nullopt;
    for (ManagedObject *remote : syncable->objectsForKey(QStringLiteral("syncsTo"))) {
        if (remote->objectForKey(QStringLiteral("theRemoteService")) == service) {
            const QVariant access = remote->valueForKey(QStringLiteral("remoteAccess"));
            if (access.isValid())
                return int(access.toLongLong());
        }
    }
    return std::nullopt;
}

int containerAccess(const CommonDataMO &container, bool forChildren) {
    const ModelObject *owner = container.owningService();
    if (!owner || SyncableObjectMO::syncingService() == owner)
        return CalendarAccess::kFullAccess;
    const int own = int(container.integerValueForKey(kAccess));
    if (nameOfService(owner) == QLatin1String("Bonjour Subscribe Synchronization")) {
        const bool subscribePassword =
            container.unmaskedStringValueForKey(QStringLiteral("localSubscribePassword"))
                .has_value();
        const int level =
            subscribePassword
                ? int(container.integerValueForKey(QStringLiteral("localSubscribeAccess")))
                : own;
        return std::min(level, forChildren ? 3 : 2);
    }
    if (!forChildren)
        if (const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(owner))
            if (engine->typeOfCalendar(&container, owner) == CalDAVEngine::kFullAccessCalendarType)
                return CalendarAccess::kFullAccess;
    return remoteAccess(container, owner).value_or(own);
}

bool matches(const std::optional<QString> &stored, const QString &password) {
    return stored && *stored == password;
}

}  // namespace

int CalendarAccess::effectiveAccess(const CommonDataMO &object) {
    const CommonDataMO *container = object.parentContainer();
    if (!container)
        return kFullAccess;
    if (object.isContainer())
        return containerAccess(*container, false);
    const ModelObject *owner = container->owningService();
    if (owner && SyncableObjectMO::syncingService() == owner)
        return kFullAccess;
    const int level = containerAccess(*container, true);
    const QVariant own = object.valueForKey(kAccess);
    return own.isValid() ? std::min(level, int(own.toLongLong())) : level;
}

int CalendarAccess::effectiveAccessForDelete(const CommonDataMO &object, bool countClassification) {
    const int level = effectiveAccess(object);
    const CommonDataMO *container = object.parentContainer();
    if (!countClassification || object.isContainer() || !container ||
        object.integerValueForKey(QStringLiteral("classification")) == 0)
        return level;
    const ModelObject *owner = container->owningService();
    if (!ServiceKind::is(owner, ServiceKind::kCalDAV) &&
        !ServiceKind::is(owner, ServiceKind::kExchange))
        return level;
    return containerAccess(*container, true) < kFullAccess ? std::min(level, kReadOnly) : level;
}

int CalendarAccess::effectiveAccessForChildren(const CommonDataMO &calendar) {
    return containerAccess(calendar, true);
}

void CalendarAccess::setDefaultSubscriberAccess(CommonDataMO &calendar) {
    const ModelObject *owner = calendar.owningService();
    int cap = kFullAccess;
    if (owner) {
        const QString kind = nameOfService(owner);
        if (kind == QLatin1String("WebDAV Subscribe Synchronization") ||
            kind == QLatin1String("AddressBook Birthday Synchronization"))
            cap = 2;
        else
            cap = remoteAccess(calendar, owner).value_or(kFullAccess);
    }
    int level = 3;
    if (calendar.unmaskedStringValueForKey(kReadPassword))
        level = 0;
    else if (calendar.unmaskedStringValueForKey(kWritePassword))
        level = 2;
    const int access = std::min(level, cap);
    const QVariant current = calendar.valueForKey(kAccess);
    if (current.isValid() && current.toLongLong() == access)
        return;
    calendar.setIntegerValue(access, kAccess);
    if (SyncableObjectMO *syncable = calendar.objectInfo())
        syncable->touchLastModTime();
}

void CalendarAccess::setPassword(CommonDataMO &calendar, const QString &key,
                                 const QString &password) {
    calendar.setMaskedStringValue(password, key);
    setDefaultSubscriberAccess(calendar);
}

bool CalendarAccess::passwordGrantsReadAccess(const CommonDataMO &calendar,
                                              const QString &password) {
    const std::optional<QString> read = calendar.unmaskedStringValueForKey(kReadPassword);
    return !read || *read == password ||
           matches(calendar.unmaskedStringValueForKey(kWritePassword), password);
}

bool CalendarAccess::passwordGrantsWriteAccess(const CommonDataMO &calendar,
                                               const QString &password) {
    const std::optional<QString> write = calendar.unmaskedStringValueForKey(kWritePassword);
    return !write || *write == password;
}

bool CalendarAccess::passwordWasNotNeeded(const CommonDataMO &calendar) {
    return !calendar.unmaskedStringValueForKey(kReadPassword) &&
           !calendar.unmaskedStringValueForKey(kWritePassword);
}
