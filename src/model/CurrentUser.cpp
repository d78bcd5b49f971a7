#include "model/CurrentUser.h"

#include <pwd.h>
#include <unistd.h>

#include <QMutex>

namespace {
QMutex g_nameMutex;
CurrentUser::NameProvider g_nameProvider;
}  // namespace

QString CurrentUser::name() {
    NameProvider provider;
    {
        QMutexLocker lock(&g_nameMutex);
        provider = g_nameProvider;
    }
    return provider ? provider() : accountName();
}

void CurrentUser::setNameProvider(NameProvider provider) {
    QMutexLocker lock(&g_nameMutex);
    g_nameProvider = std::move(provider);
}

QString CurrentUser::accountName() {
    // Every local change asks for the name, and the password database is a
    // file read each time, so the account's name is looked up once.
    static const QString name = lookUpAccountName();
    return name;
}

QString CurrentUser::lookUpAccountName() {
    if (const passwd *entry = getpwuid(getuid())) {
        // The full name is the first comma-separated field of the comment.
        const QString fullName = QString::fromLocal8Bit(entry->pw_gecos ? entry->pw_gecos : "")
                                     .section(QLatin1Char(','), 0, 0)
                                     .trimmed();
        if (!fullName.isEmpty())
            return fullName;
        if (entry->pw_name && *entry->pw_name)
            return QString::fromLocal8Bit(entry->pw_name);
    }
    return qEnvironmentVariable("USER");
}
