#pragma once

#include <QString>
#include <optional>

#include "caldav/CalDAVSyncTask.h"

class ModelObject;
class RemoteServiceTask;

// Runs one sync cycle of a CalDAV service now, in a nested event loop, for
// the commands that add or sync an account: discovery when the service has
// no URL yet, the principal, the calendars and their items, through the
// shared task manager. The service's task must not be running yet; it is
// removed again afterwards.
namespace CalDAVAccountCheck {
struct Outcome {
    qint64 state = 0;               // a SyncState; Idle on success
    std::optional<QString> error;   // what went wrong, in the server's words when it said any
    CalDAVSyncTask::Counts counts;  // what the cycle did to items
};
// Gives up after `timeoutSeconds` (the state is then still Synchronizing).
Outcome runFirstCycle(ModelObject *service, int timeoutSeconds);

// The same for cycles of one task kept in the task manager from one cycle
// to the next, as the running application keeps it (a later cycle takes
// the principal as read).
class CycleRunner {
public:
    explicit CycleRunner(ModelObject *service);
    ~CycleRunner();
    CycleRunner(const CycleRunner &) = delete;
    CycleRunner &operator=(const CycleRunner &) = delete;
    Outcome runCycle(int timeoutSeconds);

private:
    RemoteServiceTask *m_task = nullptr;
};
}  // namespace CalDAVAccountCheck
