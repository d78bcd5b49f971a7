#include "tasks/TaskSyncHooks.h"

#include "model/ModelObject.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/TaskManager.h"

void TaskSyncHooks::notePendingChanges(ModelObject *service) {
    if (RemoteServiceTask *task = RemoteServiceTask::taskForRemoteService(service))
        task->notePendingChanges();
}

void TaskSyncHooks::delaySyncIfNeeded(ModelObject *service) {
    if (RemoteServiceTask *task = RemoteServiceTask::taskForRemoteService(service))
        task->delaySyncIfNeeded();
}

void TaskSyncHooks::greatlyDelaySyncIfNeeded(ModelObject *service, bool delay) {
    if (RemoteServiceTask *task = RemoteServiceTask::taskForRemoteService(service))
        task->greatlyDelaySyncIfNeeded(delay);
}

void TaskSyncHooks::objectReceived(ModelObject *syncableObject) {
    if (TaskManager::hasSharedManager())
        TaskManager::sharedManager().objectReceived(syncableObject);
}

void TaskSyncHooks::tickle(ModelObject *service) {
    if (RemoteServiceTask *task = RemoteServiceTask::taskForRemoteService(service))
        task->tickle();
}

void TaskSyncHooks::serviceWillBeDeleted(ModelObject *service) {
    if (RemoteServiceTask *task = RemoteServiceTask::taskForRemoteService(service)) {
        task->serviceWillBeDeleted();
        TaskManager::sharedManager().removeTask(task);
    }
}

void TaskSyncHooks::objectUpdated(ModelObject *dataObject) {
    if (TaskManager::hasSharedManager())
        TaskManager::sharedManager().objectUpdated(dataObject);
}
