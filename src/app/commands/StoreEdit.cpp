#include "app/commands/StoreEdit.h"

#include "app/Command.h"
#include "app/StoreSession.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/store/ManagedObjectContext.h"

int runStoreEdit(const std::function<QString()> &change) {
    StoreSession session;
    session.open();
    const QString result = change();
    session.controller().managedObjectContext()->save();
    session.close();
    if (!result.isEmpty())
        CommandOutput::printLine(result);
    return 0;
}

int runStoreDeletion(const CommandContext &context, CommonDataMO *(*lookup)(const QString &uid)) {
    const QString uid = context.arguments.required(0, "UID");
    return runStoreEdit([&] {
        CommonDataMO::deleteObject(lookup(uid));
        return QString();
    });
}
