#include "app/commands/SyncCommand.h"

#include <QJsonArray>
#include <QJsonObject>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "app/commands/KeyringInUse.h"
#include "caldav/CalDAVAccountCheck.h"
#include "caldav/CalDAVSyncTask.h"
#include "model/DatabaseController.h"
#include "model/ModelObject.h"
#include "model/Queries.h"
#include "model/store/FetchRequest.h"
#include "model/store/ManagedObjectContext.h"
#include "tasks/SyncState.h"
#include "tasks/TaskManager.h"

namespace {

// A cycle that has not ended after this long is given up.
constexpr int kSyncCycleSeconds = 600;

QList<ModelObject *> accountsToSync(ManagedObjectContext *objects, const QString &uid) {
    if (!uid.isEmpty()) {
        auto *service = ModelObject::as<ModelObject>(Queries::remoteServiceForUID(uid));
        if (!service)
            throw CommandError(QStringLiteral("no account with uid %1").arg(uid));
        if (service->valueForKey(QStringLiteral("serviceName")).toString() !=
            QLatin1String(CalDAVSyncTask::kServiceName))
            throw CommandError(QStringLiteral("account %1 is not a CalDAV account").arg(uid));
        return {service};
    }
    QList<ModelObject *> accounts;
    for (ManagedObject *object :
         objects->executeFetchRequest(FetchRequest(QStringLiteral("RemoteService")))) {
        auto *service = ModelObject::as<ModelObject>(object);
        if (service->valueForKey(QStringLiteral("serviceName")).toString() ==
            QLatin1String(CalDAVSyncTask::kServiceName))
            accounts.append(service);
    }
    return accounts;
}

QJsonObject describeCycle(const ModelObject &service, const CalDAVAccountCheck::Outcome &outcome) {
    return QJsonObject{
        {QStringLiteral("uid"), service.uid()},
        {QStringLiteral("state"), SyncState::name(outcome.state)},
        {QStringLiteral("stateCode"), outcome.state},
        {QStringLiteral("error"), outcome.error ? QJsonValue(*outcome.error) : QJsonValue()},
        {QStringLiteral("pulled"), outcome.counts.pulled},
        {QStringLiteral("pushed"), outcome.counts.pushed},
        {QStringLiteral("deleted"), outcome.counts.deleted},
        {QStringLiteral("conflicts"), outcome.counts.conflicts},
        {QStringLiteral("calendarsPushed"), outcome.counts.calendarsPushed},
    };
}

void printCycle(const QJsonObject &cycle) {
    const auto count = [&cycle](const char *key) {
        return cycle.value(QLatin1String(key)).toInteger();
    };
    QString line = QStringLiteral("%1  %2  pulled %3, pushed %4, deleted %5, conflicts %6")
                       .arg(cycle.value(QStringLiteral("uid")).toString(),
                            cycle.value(QStringLiteral("state")).toString())
                       .arg(count("pulled"))
                       .arg(count("pushed"))
                       .arg(count("deleted"))
                       .arg(count("conflicts"));
    if (count("calendarsPushed"))
        line += QStringLiteral(", calendars pushed %1").arg(count("calendarsPushed"));
    if (!cycle.value(QStringLiteral("error")).isNull())
        line += QStringLiteral("  error: ") + cycle.value(QStringLiteral("error")).toString();
    CommandOutput::printLine(line);
}

int runSync(CommandContext &context) {
    const QString uid = context.arguments.positional().value(0);
    KeyringInUse keyring;
    CalDAVSyncTask::registerKind();
    StoreSession session;
    session.open();
    ManagedObjectContext *objects = session.controller().managedObjectContext();
    QJsonArray cycles;
    bool failed = false;
    for (ModelObject *service : accountsToSync(objects, uid)) {
        const CalDAVAccountCheck::Outcome outcome =
            CalDAVAccountCheck::runFirstCycle(service, kSyncCycleSeconds);
        objects->save();
        failed = failed || outcome.state != SyncState::Idle;
        cycles.append(describeCycle(*service, outcome));
    }
    TaskManager::stopSharedManager();
    session.close();
    if (context.json) {
        CommandOutput::printJson(cycles);
    } else {
        for (const QJsonValue &cycle : std::as_const(cycles))
            printCycle(cycle.toObject());
    }
    return failed ? 1 : 0;
}

}  // namespace

void registerSyncCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("sync"),
                  QStringLiteral("[ACCOUNT-UID]"),
                  QStringLiteral("run one full sync of an account (of every CalDAV account when "
                                 "none is named) and print its state and what changed"),
                  {},
                  {},
                  true,
                  runSync});
}
