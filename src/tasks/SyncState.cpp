#include "tasks/SyncState.h"

#include "model/foundation/Format.h"

namespace SyncState {

bool isRestartable(qint64 state) {
    return state == Idle || (state >= LoginFailed && state < FirstBusyState);
}

QString name(qint64 state) {
    static const char *const names[] = {"idle",
                                        "synchronizing",
                                        "login failed",
                                        "quota exceeded",
                                        "unable to connect",
                                        "incompatible server",
                                        "internal error",
                                        "offline"};
    if (state >= 0 && state < FirstBusyState)
        return QLatin1String(names[state]);
    return QStringLiteral("busy (%1)").arg(state);
}

QString statusText(qint64 state, const QString &title) {
    switch (state) {
        case Synchronizing:
            return format("Synchronizing with %@", title);
        case LoginFailed:
            return format("%@ login failed", title);
        case QuotaExceeded:
            return format("%@ quota exceeded", title);
        case UnableToConnect:
            return format("Unable to connect to %@", title);
        case IncompatibleServer:
            return format("Incompatible with %@", title) +
                   format(" - make sure you are using the latest version of %@", title);
        case InternalError:
            return format("Internal error: %@", title);
        case Offline:
            return format("%@ is offline", title);
        default:
            return QString();
    }
}

}  // namespace SyncState
