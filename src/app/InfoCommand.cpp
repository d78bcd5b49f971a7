#include "app/InfoCommand.h"

#include <QJsonObject>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "model/DatabaseController.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

int runInfo(CommandContext &context) {
    StoreSession session;
    session.open();
    DatabaseController &controller = session.controller();
    ManagedObjectContext &objects = *controller.managedObjectContext();
    QJsonObject counts;
    for (const EntityDescription *entity : controller.persistentStore()->model()->entities()) {
        if (entity->isAbstract())
            continue;
        FetchRequest request(entity->name());
        request.setIncludesSubentities(false);
        counts.insert(entity->name(), objects.countForFetchRequest(request));
    }
    const QString version = controller.persistentStore()
                                ->metadata()
                                .value(QLatin1String(DatabaseController::kDatabaseVersionKey))
                                .toString();
    const QJsonObject info{
        {QStringLiteral("path"), controller.databasePath()},
        {QStringLiteral("databaseVersion"), version},
        {QStringLiteral("databaseUID"), controller.databaseUID()},
        {QStringLiteral("crashRecovery"), controller.crashRecoveryStarted()},
        {QStringLiteral("upgraded"), controller.databaseUpgraded()},
        {QStringLiteral("entities"), counts},
    };
    if (context.json) {
        CommandOutput::printJson(info);
    } else {
        CommandOutput::printLine(
            QStringLiteral("Store:            %1").arg(controller.databasePath()));
        CommandOutput::printLine(QStringLiteral("Database Version: %1").arg(version));
        CommandOutput::printLine(
            QStringLiteral("Database UID:     %1").arg(controller.databaseUID()));
        CommandOutput::printLine(QStringLiteral("Crash recovery:   %1")
                                     .arg(controller.crashRecoveryStarted()
                                              ? QStringLiteral("yes")
                                              : QStringLiteral("no")));
        for (auto it = counts.begin(); it != counts.end(); ++it)
            CommandOutput::printLine(
                QStringLiteral("  %1 %2").arg(it.key(), -24).arg(it.value().toInteger()));
    }
    session.close();
    return 0;
}

}  // namespace

void registerInfoCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("info"),
                  QString(),
                  QStringLiteral("show the store's path, version, identity and contents"),
                  {},
                  {},
                  true,
                  runInfo});
}
