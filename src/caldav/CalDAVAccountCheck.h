#pragma once

#include <QString>
#include <optional>

class ModelObject;

// Runs the first sync cycle of a new CalDAV service now, in a nested event
// loop, for the commands that add an account: discovery, the principal and
// the list of calendars, through the shared task manager. The service's
// task must not be running yet; it is removed again afterwards.
namespace CalDAVAccountCheck {
struct Outcome {
    qint64 state = 0;              // a SyncState; Idle on success
    std::optional<QString> error;  // what went wrong, in the server's words when it said any
};
// Gives up after `timeoutSeconds` (the state is then still Synchronizing).
Outcome runFirstCycle(ModelObject *service, int timeoutSeconds);
}  // namespace CalDAVAccountCheck
