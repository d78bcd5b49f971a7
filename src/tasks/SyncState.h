#pragma once

#include <QString>

// The state of a remote service's sync, as its task reports it. Values from
// kFirstBusyState on belong to the kinds of service (their own busy states).
namespace SyncState {
enum : qint64 {
    Idle = 0,  // the last cycle succeeded
    Synchronizing = 1,
    LoginFailed = 2,
    QuotaExceeded = 3,
    UnableToConnect = 4,  // network failure; retried with growing delays
    IncompatibleServer = 5,
    InternalError = 6,
    Offline = 7,
    FirstBusyState = 8,
};

// A state a new cycle may start from: idle or one of the failures.
bool isRestartable(qint64 state);
// A short name for listings: "idle", "synchronizing", "login failed", …,
// "busy (n)" for the kinds' own states.
QString name(qint64 state);
// The status line for a service with the given title ("Synchronizing with %@",
// "%@ login failed", …); empty for idle and the busy states.
QString statusText(qint64 state, const QString &title);
}  // namespace SyncState
