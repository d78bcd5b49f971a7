#pragma once

#include <QHash>
#include <QString>

class CommonDataMO;
class ModelObject;

// The calendar groups of one CalDAV service ("CalendarGroup" owned by the
// service's uid): one per delegating owner whose calendars the account
// reaches as a proxy, titled with the owner's name, and one for the
// calendars of such owners that hold to-dos only. Read once per cycle from
// the service; groups made through it are found again in the same cycle.
// Main thread only.
class CalDAVCalendarGroups {
public:
    explicit CalDAVCalendarGroups(ModelObject *service);

    // The group of the owner's calendars, made when missing; its title
    // follows the owner's name (the proxy ID when the name is empty).
    CommonDataMO *calendarGroupForProxyID(const QString &proxyID, const QString &ownerName);
    // The owner's group takes the owner's present name, when it exists.
    void renameGroupForProxyID(const QString &proxyID, const QString &ownerName);
    // The group of the owners' calendars that hold to-dos only.
    CommonDataMO *calendarGroupForTasks();
    // Deletes the groups no calendar belongs to any more.
    void dropEmptyGroups();

private:
    CommonDataMO *groupWithUID(const QString &uid, const QString &title);
    static void setGroupTitle(CommonDataMO *group, const QString &title);

    ModelObject *m_service;
    QHash<QString, CommonDataMO *> m_byUID;
};
