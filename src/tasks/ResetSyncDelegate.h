#pragma once

class RemoteServiceTask;

// Told when the reset sync a task was asked for (forceResetSync()) has
// finished; `success` when it ended idle.
class ResetSyncDelegate {
public:
    virtual ~ResetSyncDelegate() = default;
    virtual void resetSyncHasFinished(bool success, RemoteServiceTask *task) = 0;
};
