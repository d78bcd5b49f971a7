#pragma once

#include <QHash>
#include <QString>

class CommonDataMO;
class ManagedObjectContext;
class SyncableObjectMO;

// Where an item goes when its service refuses a local change: a local
// calendar titled "Conflicts", owned by no service, so that the user's
// version is neither lost nor sent anywhere. The calendar is made when first
// needed (reported to the database controller's delegate through
// databaseControllerConflictContainerCreated) and found again through its
// uid, kept in the store's metadata under kConflictCalendarUIDKey; when the
// user deleted it, the next conflict makes a new one.
class ConflictBin {
public:
    static constexpr char kConflictCalendarUIDKey[] = "Conflict Calendar UID";
    static constexpr char kConflictCalendarTitle[] = "Conflicts";

    // The conflict calendar of the context's store, made if missing; it is
    // looked up and made in the queries' context (Queries::context()).
    static CommonDataMO *conflictCalendar(ManagedObjectContext *context);

    // Re-homes the item into `container`: the item and, with
    // `moveDetachedEventsToo`, its detached instances get one new uid (the
    // old uid maps to it in `extraUIDMap`, when given). Instances left behind
    // lose their original and are marked `localOrphaned`. Nothing is left in
    // the old container, so no deletion is sent for it.
    static void moveChildToContainer(SyncableObjectMO *item, CommonDataMO *container,
                                     QHash<QString, QString> *extraUIDMap,
                                     bool moveDetachedEventsToo);

    // Logs "copyChildToConflictBinAndDeleteOriginal(%@) : %@" (the item's
    // uid and the reason), moves the item with its detached instances to the
    // conflict calendar and reports it to the database controller's delegate
    // (databaseControllerConflictForObject). Returns the item's new uid.
    static QString copyChildToConflictBinAndDeleteOriginal(SyncableObjectMO *item,
                                                           const QString &reason);
};
