#pragma once

#include <QHash>
#include <QString>
#include <optional>

class CommonDataMO;
class ModelObject;
class SyncableObjectMO;

// The remote objects of one CalDAV service, by their "remoteID" (the href of
// a calendar or of an item's resource on the server): the link between a
// local calendar or item and its copy on the server, with the item's ETag
// ("remoteETag") and a calendar's last sync token ("editURL"). Read once
// per cycle from the service; records made or dropped through the index
// keep it current. Main thread only.
class CalDAVRemoteObjects {
public:
    explicit CalDAVRemoteObjects(ModelObject *service);

    // The record of the href, or nullptr.
    ModelObject *forHREF(const QString &href) const;
    // The record of the href, made for `local` when there is none; an
    // existing one is moved to `local`.
    ModelObject *link(const QString &href, SyncableObjectMO *local);
    // Deletes the record of the href, if any.
    void drop(const QString &href);
    // Deletes the records whose local object is gone.
    void dropOrphans();
    // The local object of the href's record, or nullptr.
    SyncableObjectMO *localObjectForHREF(const QString &href) const;

    static std::optional<QString> etagOf(const ModelObject *record);
    // The principal URL of the delegating owner of a calendar that the
    // account reaches as a proxy; empty for the account's own calendars.
    // Kept in "originalEventRemoteID", which a calendar's record has no
    // other use for.
    static QString proxyIDForRemoteObject(const ModelObject *record);
    static void setProxyID(ModelObject *record, const QString &proxyID);
    // The service's live record of a local calendar or item, or nullptr
    // (read from the object, not from the index).
    static ModelObject *recordOf(const SyncableObjectMO *local, const ModelObject *service);

    // A detached instance has a record of its own, under the href of its
    // resource followed by "?rid=" and recurrenceIDText(); empty for an
    // instance without an original start.
    static QString detachedRemoteID(const QString &href, const CommonDataMO &detached);
    // The RECURRENCE-ID value of a detached instance's original start, as
    // the server names the instance: a date for an all-day item, a
    // wall-clock time for a floating one, else UTC ("...Z"); empty without
    // an original start.
    static QString recurrenceIDText(const CommonDataMO &detached);

private:
    ModelObject *m_service;
    QHash<QString, ModelObject *> m_byHREF;
};
