#pragma once

#include <QStringList>

// How the application was started, chosen on the command line before anything
// else runs. Every mode but Normal skips crash detection, the tombstone purge
// and the licence timer.
enum class StartMode : int {
    Normal = 0,
    Reset = 1,    // "-reset": reset the database
    Logs = 2,     // "-logs": offer to send the log files
    Offline = 3,  // "-offline": start offline
    Fonts = 4,    // "-fonts": reset the font preferences
    Safe = 5,     // "-safe": let the user choose one of the above
};

namespace StartModes {
// Scans the arguments in order; a later mode overrides an earlier one and
// arguments that are not modes are ignored.
StartMode scan(const QStringList &arguments);
// The arguments that are not start modes, in order.
QStringList withoutModes(const QStringList &arguments);

StartMode current();
void setCurrent(StartMode mode);
}  // namespace StartModes
