#pragma once

#include <QString>

class ManagedObjectContext;
class ModelObject;

// Making and deleting service records (RemoteService) and their notices.
// The database controller's delegate, when there is one, hears of every
// service made and deleted. Main thread only.
class RemoteServiceLifecycle {
public:
    // A new RemoteService in `context` (the queries' context when null),
    // without uid; the delegate is told (databaseControllerRemoteServiceWillBeAdded).
    static ModelObject *makeRemoteService(ManagedObjectContext *context = nullptr);

    // Removes a service, logged "deleteRemoteService %@" with urlSummary():
    // - its calendars published over the local network are withdrawn there
    //   (the publisher gets withdrawal records and is tickled);
    // - every other service its calendars are published to, and the service
    //   it was found through (ServiceEngine::parentService), are asked to sync;
    // - its task is told and stopped (SyncHooks::serviceWillBeDeleted);
    // - its calendars lose their items and every attachment file on disk;
    // - the delegate is told (databaseControllerRemoteServiceWillBeDeleted);
    // - the services found through it are deleted the same way, then its
    //   calendars and the service itself; pending changes are processed.
    static void deleteRemoteService(ModelObject *service);

    // A new notice of the service: new uid, `createTime` now, `type`, not
    // yet shown (`transNew`).
    static ModelObject *makeNotificationOfType(qint64 type, ModelObject *service);

    // The service for logs: its `url`, or `urlAlternate` when there is no
    // `url`, or both as "%@+%@"; preceded by "(%@) " with the `title` when
    // it has one.
    static QString urlSummary(const ModelObject *service);
};
