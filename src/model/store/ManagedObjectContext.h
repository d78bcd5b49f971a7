#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QVariantMap>
#include <memory>
#include <vector>

#include "model/store/FetchRequest.h"
#include "model/store/IdentityMap.h"
#include "model/store/ManagedObject.h"
#include "model/store/StoreError.h"

class PersistentStore;
class SqliteConnection;
class SqliteStatement;

// Objects inserted, changed and deleted in one batch, as change
// notifications carry them.
struct ChangeSet {
    QList<ManagedObject *> inserted;
    QList<ManagedObject *> updated;
    QList<ManagedObject *> deleted;
    bool isEmpty() const { return inserted.isEmpty() && updated.isEmpty() && deleted.isEmpty(); }
};

// One result of ManagedObjectContext::fetchValues(): an object's id (with
// its concrete entity) and the values of the keys asked for, in their order.
struct FetchedValues {
    ObjectID id;
    QVariantList values;
};

// A scratch pad of objects on one store: it keeps one object per row (the
// identity map), tracks what was inserted, changed and deleted, and writes
// all of it in one transaction on save(). The main context lives on the main
// thread for the whole run; worker contexts live on one worker thread each,
// use their own database connection and only read.
//
// Failures (a row that cannot be read, a failed save) throw StoreError.
class ManagedObjectContext : public QObject {
    Q_OBJECT
public:
    enum class Kind { Main, Worker };

    explicit ManagedObjectContext(PersistentStore *store, Kind kind = Kind::Main);
    ~ManagedObjectContext() override;

    PersistentStore *store() const { return m_store; }
    Kind kind() const { return m_kind; }

    // Creation and deletion. The new object has every value empty.
    ManagedObject *insertNewObject(const QString &entityName);
    ManagedObject *insertNewObject(const EntityDescription *entity);
    // Marks the object deleted and applies the delete rules of its
    // relationships at once: cascade deletes the destinations, nullify takes
    // the object out of their inverse. Deleting an object twice is harmless.
    void deleteObject(ManagedObject *object);

    // The object of an id: the registered one, or a new fault (no I/O).
    ManagedObject *objectWithID(const ObjectID &id);
    // The objects of the ids, in their order; those that are faults are
    // loaded in as few queries as possible. A row that no longer exists
    // leaves its object a fault.
    QList<ManagedObject *> objectsWithIDs(const QList<ObjectID> &ids);
    // The registered object of an id, or nullptr (no I/O).
    ManagedObject *registeredObject(const ObjectID &id) const;
    // The object of an id with its values loaded, or nullptr when its row
    // does not exist (any more).
    ManagedObject *existingObjectWithID(const ObjectID &id);

    QList<ManagedObject *> executeFetchRequest(const FetchRequest &request);
    QList<ObjectID> fetchObjectIDs(const FetchRequest &request);
    // The values of some keys of the objects the request matches, read from
    // their rows without making objects for them: attributes as an object
    // holds them (see AttributeType), to-one relationships as the
    // destination's ObjectID (its entity may be the relationship's
    // destination; none when empty). With pending changes included, an
    // object with unsaved changes is judged and read in memory, inserted ones
    // are added and deleted ones left out, as executeFetchRequest() does. In
    // ascending primary key order. Sort descriptors, a limit and prefetching
    // do not apply (std::invalid_argument), nor do to-many keys.
    QList<FetchedValues> fetchValues(const FetchRequest &request, const QStringList &keys);
    qint64 countForFetchRequest(const FetchRequest &request);

    bool hasChanges() const;
    QList<ManagedObject *> insertedObjects() const;
    QList<ManagedObject *> updatedObjects() const;
    QList<ManagedObject *> deletedObjects() const;
    QList<ManagedObject *> registeredObjects() const;

    // Sends objectsDidChange() for the changes since the last call.
    void processPendingChanges();
    // Writes every change in one transaction; on failure nothing is written
    // and the changes stay pending. Sends didSave() with what was written.
    void save();
    // Turns an object back into a fault (dropping its unsaved changes unless
    // mergeChanges), or, with mergeChanges, re-reads the stored values under
    // the unsaved ones.
    void refreshObject(ManagedObject *object, bool mergeChanges);
    // Forgets every object and every unsaved change.
    void reset();

signals:
    void objectsDidChange(const ChangeSet &changes);
    void didSave(const ChangeSet &changes);

private:
    friend class ManagedObject;
    friend class FetchExecution;
    friend class SaveTransaction;

    // A change of a many-to-many relationship, kept until the next save.
    struct JoinChange {
        const PropertyDescription *relationship;  // the stored side
        ManagedObject *source;
        ManagedObject *target;
        bool added;
    };

    static constexpr int kKeysPerQuery = 500;  // keys per "IN (...)" query

    ManagedObject *registerObject(const ObjectID &id);
    ManagedObject *registeredOrFault(const EntityDescription *entity, qint64 primaryKey);
    void loadRow(ManagedObject *object);
    // Fills a fault from the current row of `row` (columns as selectColumns()).
    void populate(ManagedObject *object, const SqliteStatement &row);
    // Loads the faults among the objects (all of one family), in batches.
    void loadFaults(const QList<ManagedObject *> &objects);
    // A column that is not NULL, as a value of the property: the attribute's
    // type, or the destination's ObjectID for a to-one relationship.
    static QVariant columnValue(const SqliteStatement &row, int column,
                                const PropertyDescription *property);
    QString selectColumns(const EntityDescription *family) const;
    void loadToMany(ManagedObject *object, const PropertyDescription *relationship);
    void mergePendingMembers(ManagedObject *owner, const PropertyDescription *relationship,
                             QList<ManagedObject *> &members) const;
    void changeManyToMany(ManagedObject *object, const PropertyDescription *relationship,
                          ManagedObject *member, bool add);
    void applyDeleteRules(ManagedObject *object);
    void noteChanged(ManagedObject *object);
    SqliteConnection &connection();
    void deleteRegisteredObjects();

    PersistentStore *m_store;
    Kind m_kind;
    std::unique_ptr<SqliteConnection> m_ownConnection;  // workers only
    IdentityMap m_objects;
    // Objects in order of their first change; their flags say which kind.
    QList<ManagedObject *> m_inserted, m_updated, m_deleted;
    QList<JoinChange> m_joinChanges;
    ChangeSet m_pendingNotification;
    // Deleted objects whose deletion was saved: kept alive (callers may still
    // hold them) until the context goes away.
    std::vector<std::unique_ptr<ManagedObject>> m_graveyard;
};

Q_DECLARE_METATYPE(ChangeSet)
