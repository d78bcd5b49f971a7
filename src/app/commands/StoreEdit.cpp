#include "app/commands/StoreEdit.h"

#include "app/Command.h"
#include "app/StoreSession.h"
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
