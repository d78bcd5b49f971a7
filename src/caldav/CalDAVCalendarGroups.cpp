#include "caldav/CalDAVCalendarGroups.h"

#include "model/CommonDataMO.h"
#include "model/ModelObject.h"
#include "model/Queries.h"
#include "model/store/ManagedObjectContext.h"

namespace {

// Group uids are made from the service's uid, so that two accounts reaching
// the same owner keep groups of their own.
QString proxyGroupUID(const ModelObject *service, const QString &proxyID) {
    return service->uid() + QStringLiteral("/proxy/") + proxyID;
}

// The title of an owner's group: the owner's name, else the principal.
QString proxyGroupTitle(const QString &proxyID, const QString &ownerName) {
    return ownerName.trimmed().isEmpty() ? proxyID : ownerName.trimmed();
}

}  // namespace

CalDAVCalendarGroups::CalDAVCalendarGroups(ModelObject *service) : m_service(service) {
    for (ManagedObject *object : Queries::groupsFromService(service)) {
        auto *group = ModelObject::as<CommonDataMO>(object);
        if (group && !group->isDeleted())
            m_byUID.insert(group->uid(), group);
    }
}

CommonDataMO *CalDAVCalendarGroups::calendarGroupForProxyID(const QString &proxyID,
                                                            const QString &ownerName) {
    return groupWithUID(proxyGroupUID(m_service, proxyID), proxyGroupTitle(proxyID, ownerName));
}

void CalDAVCalendarGroups::renameGroupForProxyID(const QString &proxyID, const QString &ownerName) {
    if (CommonDataMO *group = m_byUID.value(proxyGroupUID(m_service, proxyID)))
        setGroupTitle(group, proxyGroupTitle(proxyID, ownerName));
}

CommonDataMO *CalDAVCalendarGroups::calendarGroupForTasks() {
    return groupWithUID(m_service->uid() + QStringLiteral("/tasks"), QStringLiteral("Tasks"));
}

CommonDataMO *CalDAVCalendarGroups::groupWithUID(const QString &uid, const QString &title) {
    CommonDataMO *group = m_byUID.value(uid);
    if (!group) {
        group = ModelObject::as<CommonDataMO>(
            m_service->managedObjectContext()->insertNewObject(QStringLiteral("CalendarGroup")));
        group->setValue(QStringLiteral("uid"), uid);
        group->setValue(QStringLiteral("ownerID"), m_service->uid());
        m_byUID.insert(uid, group);
    }
    setGroupTitle(group, title);
    return group;
}

void CalDAVCalendarGroups::setGroupTitle(CommonDataMO *group, const QString &title) {
    if (group->stringValueForKey(QStringLiteral("title")) != title)
        group->setStringValue(title, QStringLiteral("title"));
}

void CalDAVCalendarGroups::dropEmptyGroups() {
    for (auto it = m_byUID.begin(); it != m_byUID.end();) {
        bool empty = true;
        for (const ManagedObject *calendar : it.value()->objectsForKey(QStringLiteral("calendars")))
            empty = empty && calendar->isDeleted();
        if (!empty) {
            ++it;
            continue;
        }
        m_service->managedObjectContext()->deleteObject(it.value());
        it = m_byUID.erase(it);
    }
}
