#include "app/commands/AccountCommands.h"

#include <QJsonArray>
#include <QJsonObject>

#include "app/CommandRegistry.h"
#include "app/PasswordInput.h"
#include "app/StoreSession.h"
#include "app/commands/KeyringInUse.h"
#include "caldav/CalDAVAccountCheck.h"
#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "model/DatabaseController.h"
#include "model/ModelObject.h"
#include "model/Queries.h"
#include "model/RemoteServiceLifecycle.h"
#include "model/store/ManagedObjectContext.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SyncState.h"
#include "tasks/TaskManager.h"

namespace {

constexpr int kDiscoverySeconds = 120;
constexpr double kDefaultSyncInterval = 900;

QString passwordForAccount(const CommandContext &context, const QString &login,
                           const QString &server) {
    std::optional<QString> password;
    if (context.arguments.has(QStringLiteral("--password-stdin"))) {
        password = PasswordInput::readLineFromStandardInput();
    } else {
        password = PasswordInput::promptOnTerminal(
            QStringLiteral("Password for %1 at %2: ").arg(login, server));
        if (!password)
            throw CommandError(
                QStringLiteral("no password: standard input is not a terminal; give the "
                               "password on standard input with --password-stdin"),
                2);
    }
    if (!password || password->isEmpty())
        throw CommandError(QStringLiteral("no password given"), 2);
    return RemoteServiceTask::trimWhiteSpaceFromPassword(*password);
}

QJsonValue textOrNull(const QVariant &value) {
    const QString text = value.toString();
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonObject describeAccount(const ModelObject &service) {
    const QVariantMap syncData = CalDAVServiceInfo::syncDataForService(&service);
    QJsonArray calendars;
    for (const QVariant &entry : syncData.value(QStringLiteral("collections")).toList()) {
        const QVariantMap collection = entry.toMap();
        const QStringList types = collection.value(QStringLiteral("resourcetype")).toStringList();
        if (!types.contains(CalDAVClient::caldavKey("calendar")))
            continue;
        calendars.append(QJsonObject{
            {QStringLiteral("href"), collection.value(QStringLiteral("href")).toString()},
            {QStringLiteral("title"), textOrNull(collection.value(QStringLiteral("displayname")))},
            {QStringLiteral("components"),
             QJsonArray::fromStringList(
                 collection.value(CalDAVClient::caldavKey("supported-calendar-component-set"))
                     .toStringList())}});
    }
    const QString dav = syncData.value(QStringLiteral("dav")).toString();
    return QJsonObject{
        {QStringLiteral("uid"), service.uid()},
        {QStringLiteral("kind"), service.valueForKey(QStringLiteral("serviceName")).toString()},
        {QStringLiteral("url"), service.valueForKey(QStringLiteral("url")).toString()},
        {QStringLiteral("login"),
         service.unmaskedStringValueForKey(QStringLiteral("login")).value_or(QString())},
        {QStringLiteral("principal"),
         textOrNull(syncData.value(QStringLiteral("current-user-principal")))},
        {QStringLiteral("homes"),
         QJsonArray::fromStringList(
             syncData.value(CalDAVClient::caldavKey("calendar-home-set")).toStringList())},
        {QStringLiteral("addresses"),
         QJsonArray::fromStringList(
             syncData.value(CalDAVClient::caldavKey("calendar-user-address-set")).toStringList())},
        {QStringLiteral("inbox"),
         textOrNull(syncData.value(CalDAVClient::caldavKey("schedule-inbox-URL")))},
        {QStringLiteral("outbox"),
         textOrNull(syncData.value(CalDAVClient::caldavKey("schedule-outbox-URL")))},
        {QStringLiteral("server"), textOrNull(syncData.value(QStringLiteral("server")))},
        {QStringLiteral("capabilities"),
         QJsonArray::fromStringList(dav.split(QLatin1Char(','), Qt::SkipEmptyParts))},
        {QStringLiteral("calendars"), calendars},
    };
}

void printAccount(const QJsonObject &account) {
    const auto list = [&account](const char *key) {
        QStringList texts;
        for (const QJsonValue &value : account.value(QLatin1String(key)).toArray())
            texts.append(value.toString());
        return texts.join(QStringLiteral(", "));
    };
    const auto text = [&account](const char *key) {
        const QJsonValue value = account.value(QLatin1String(key));
        return value.isNull() ? QStringLiteral("-") : value.toString();
    };
    CommandOutput::printLine(QStringLiteral("added %1").arg(text("uid")));
    CommandOutput::printLine(QStringLiteral("  url:          %1").arg(text("url")));
    CommandOutput::printLine(QStringLiteral("  principal:    %1").arg(text("principal")));
    CommandOutput::printLine(QStringLiteral("  homes:        %1").arg(list("homes")));
    CommandOutput::printLine(QStringLiteral("  addresses:    %1").arg(list("addresses")));
    CommandOutput::printLine(QStringLiteral("  server:       %1").arg(text("server")));
    CommandOutput::printLine(QStringLiteral("  capabilities: %1").arg(list("capabilities")));
    for (const QJsonValue &value : account.value(QStringLiteral("calendars")).toArray()) {
        const QJsonObject calendar = value.toObject();
        CommandOutput::printLine(
            QStringLiteral("  calendar:     %1  %2  (%3)")
                .arg(calendar.value(QStringLiteral("href")).toString(),
                     calendar.value(QStringLiteral("title")).toString(QStringLiteral("-")))
                .arg(calendar.value(QStringLiteral("components"))
                         .toVariant()
                         .toStringList()
                         .join(QStringLiteral(", "))));
    }
}

// Another CalDAV account with the same service URL and login.
const ModelObject *sameAccount(const ModelObject &service) {
    const QString url = service.valueForKey(QStringLiteral("url")).toString();
    const std::optional<QString> login = service.unmaskedStringValueForKey(QStringLiteral("login"));
    for (ManagedObject *object :
         Queries::remoteServicesForName(QLatin1String(CalDAVSyncTask::kServiceName))) {
        const auto *other = ModelObject::as<ModelObject>(object);
        if (other != &service && other->valueForKey(QStringLiteral("url")).toString() == url &&
            other->unmaskedStringValueForKey(QStringLiteral("login")) == login)
            return other;
    }
    return nullptr;
}

int runAccountAddCalDAV(CommandContext &context) {
    const QString server = context.arguments.value(QStringLiteral("--server"));
    const QString login = context.arguments.value(QStringLiteral("--login"));
    if (server.isEmpty() || login.isEmpty())
        throw CommandError(QStringLiteral("account add caldav needs --server and --login"), 2);
    const QString password = passwordForAccount(context, login, server);

    KeyringInUse keyring;
    CalDAVSyncTask::registerKind();
    StoreSession session;
    session.open();
    ManagedObjectContext *objects = session.controller().managedObjectContext();
    ModelObject *service = RemoteServiceLifecycle::makeRemoteService(objects);
    service->setValue(QStringLiteral("serviceName"), QLatin1String(CalDAVSyncTask::kServiceName));
    service->assignUID();
    service->setValue(QStringLiteral("urlAlternate"), server);
    service->setMaskedStringValue(login, QStringLiteral("login"));
    service->setMaskedStringValue(password, QStringLiteral("transPassword"));
    service->setDoubleValue(kDefaultSyncInterval, QStringLiteral("syncInterval"));

    const CalDAVAccountCheck::Outcome outcome =
        CalDAVAccountCheck::runFirstCycle(service, kDiscoverySeconds);
    TaskManager::stopSharedManager();
    if (outcome.state != SyncState::Idle) {
        RemoteServiceLifecycle::deleteRemoteService(service);
        objects->save();
        session.close();
        throw CommandError(
            QStringLiteral("cannot add the account at %1: %2%3")
                .arg(server, SyncState::name(outcome.state),
                     outcome.error ? QStringLiteral(": ") + *outcome.error : QString()));
    }
    if (const ModelObject *existing = sameAccount(*service)) {
        const QString uid = existing->uid();
        RemoteServiceLifecycle::deleteRemoteService(service);
        objects->save();
        session.close();
        throw CommandError(
            QStringLiteral("the account of %1 at %2 exists already: %3").arg(login, server, uid));
    }
    objects->save();
    const QJsonObject account = describeAccount(*service);
    session.close();
    if (context.json)
        CommandOutput::printJson(account);
    else
        printAccount(account);
    return 0;
}

int runAccountRemove(CommandContext &context) {
    const QString uid = context.arguments.required(0, "UID");
    KeyringInUse keyring;
    StoreSession session;
    session.open();
    auto *service = ModelObject::as<ModelObject>(Queries::remoteServiceForUID(uid));
    if (!service) {
        session.close();
        throw CommandError(QStringLiteral("no account with uid %1").arg(uid));
    }
    RemoteServiceTask::setPassword(std::nullopt, service, QUrl());
    RemoteServiceLifecycle::deleteRemoteService(service);
    session.controller().managedObjectContext()->save();
    session.close();
    CommandOutput::printLine(QStringLiteral("removed %1").arg(uid));
    return 0;
}

}  // namespace

void registerAccountCommands(CommandRegistry &registry) {
    registry.add({QStringLiteral("account add caldav"),
                  QStringLiteral("--server URL-OR-HOST --login USER [--password-stdin]"),
                  QStringLiteral("find a CalDAV account on its server (SRV records, the "
                                 "well-known path, a principal URL) and keep it with its "
                                 "password in the keyring"),
                  {QStringLiteral("--password-stdin")},
                  {QStringLiteral("--server"), QStringLiteral("--login")},
                  true,
                  runAccountAddCalDAV});
    registry.add({QStringLiteral("account remove"),
                  QStringLiteral("UID"),
                  QStringLiteral("delete an account, its calendars and its stored password"),
                  {},
                  {},
                  false,
                  runAccountRemove});
}
