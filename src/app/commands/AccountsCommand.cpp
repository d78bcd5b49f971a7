#include "app/commands/AccountsCommand.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "model/DatabaseController.h"
#include "model/ModelObject.h"
#include "model/store/FetchRequest.h"
#include "model/store/ManagedObjectContext.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SyncState.h"

namespace {

QJsonValue orNull(const QString &text) {
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonObject describeService(const ModelObject &service) {
    const QVariantMap options =
        service.unarchivedValueForKey(QStringLiteral("syncOptions")).toMap();
    const QVariant state = options.value(QLatin1String(RemoteServiceTask::kLastSyncStateKey));
    const std::optional<Date> lastSync = service.dateValueForKey(QStringLiteral("lastSyncTime"));
    return QJsonObject{
        {QStringLiteral("uid"), orNull(service.valueForKey(QStringLiteral("uid")).toString())},
        {QStringLiteral("kind"), service.valueForKey(QStringLiteral("serviceName")).toString()},
        {QStringLiteral("title"), orNull(service.valueForKey(QStringLiteral("title")).toString())},
        {QStringLiteral("state"),
         state.isValid() ? QJsonValue(SyncState::name(state.toLongLong())) : QJsonValue()},
        {QStringLiteral("stateCode"),
         state.isValid() ? QJsonValue(state.toLongLong()) : QJsonValue()},
        {QStringLiteral("lastSyncTime"),
         lastSync ? QJsonValue(lastSync->description()) : QJsonValue()},
        {QStringLiteral("lastError"),
         orNull(options.value(QLatin1String(RemoteServiceTask::kLastSyncErrorKey)).toString())},
    };
}

QString textOf(const QJsonObject &account, const char *key, const char *none) {
    const QJsonValue value = account.value(QLatin1String(key));
    return value.isNull() ? QLatin1String(none) : value.toVariant().toString();
}

int runAccounts(CommandContext &context) {
    StoreSession session;
    session.open();
    const QString entity = QStringLiteral("RemoteService");
    QList<QJsonObject> accounts;
    for (ManagedObject *object :
         session.controller().managedObjectContext()->executeFetchRequest(FetchRequest(entity))) {
        // This machine's publishing record is of the family but is no account.
        if (object->entityName() == entity)
            accounts.append(describeService(*ModelObject::as<ModelObject>(object)));
    }
    std::stable_sort(accounts.begin(), accounts.end(), [](const auto &a, const auto &b) {
        return QString::localeAwareCompare(a.value(QStringLiteral("title")).toString(),
                                           b.value(QStringLiteral("title")).toString()) < 0;
    });
    if (context.json) {
        QJsonArray list;
        for (const QJsonObject &account : accounts)
            list.append(account);
        CommandOutput::printJson(list);
    } else {
        for (const QJsonObject &account : accounts) {
            QString line = QStringLiteral("%1  %2  %3  %4  last sync %5")
                               .arg(textOf(account, "uid", "-"), textOf(account, "kind", "-"),
                                    textOf(account, "title", "(untitled)"),
                                    textOf(account, "state", "never synced"),
                                    textOf(account, "lastSyncTime", "never"));
            if (!account.value(QStringLiteral("lastError")).isNull())
                line += QStringLiteral("  error: ") + textOf(account, "lastError", "");
            CommandOutput::printLine(line);
        }
    }
    session.close();
    return 0;
}

}  // namespace

void registerAccountsCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("accounts"),
                  QString(),
                  QStringLiteral("list the accounts with their kind, sync state, last sync and "
                                 "last error"),
                  {},
                  {},
                  true,
                  runAccounts});
}
