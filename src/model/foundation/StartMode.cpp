#include "model/foundation/StartMode.h"

#include <optional>

namespace {
StartMode g_current = StartMode::Normal;

std::optional<StartMode> modeFor(const QString &argument) {
    static const std::pair<const char *, StartMode> kModes[] = {
        {"-reset", StartMode::Reset}, {"-logs", StartMode::Logs}, {"-offline", StartMode::Offline},
        {"-fonts", StartMode::Fonts}, {"-safe", StartMode::Safe},
    };
    for (const auto &[name, mode] : kModes) {
        if (argument == QLatin1String(name))
            return mode;
    }
    return std::nullopt;
}
}  // namespace

namespace StartModes {

StartMode scan(const QStringList &arguments) {
    StartMode mode = StartMode::Normal;
    for (const QString &argument : arguments) {
        if (const auto found = modeFor(argument))
            mode = *found;
    }
    return mode;
}

QStringList withoutModes(const QStringList &arguments) {
    QStringList rest;
    for (const QString &argument : arguments) {
        if (!modeFor(argument))
            rest << argument;
    }
    return rest;
}

StartMode current() {
    return g_current;
}

void setCurrent(StartMode mode) {
    g_current = mode;
}

}  // namespace StartModes
