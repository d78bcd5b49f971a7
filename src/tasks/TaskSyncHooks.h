#pragma once

#include "model/SyncHooks.h"

// The object model's notices delivered to the tasks: local changes and
// edits reach the task of the service concerned, received and updated
// objects the task manager (and through it the application). A service
// without a running task, or a notice while no manager runs, is left alone.
class TaskSyncHooks : public SyncHooks {
public:
    void notePendingChanges(ModelObject *service) override;
    void delaySyncIfNeeded(ModelObject *service) override;
    void greatlyDelaySyncIfNeeded(ModelObject *service, bool delay) override;
    void objectReceived(ModelObject *syncableObject) override;
    void tickle(ModelObject *service) override;
    // Tells the service's task, then removes it.
    void serviceWillBeDeleted(ModelObject *service) override;
    void objectUpdated(ModelObject *dataObject) override;
};
