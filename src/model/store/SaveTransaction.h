#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <vector>

#include "model/store/ManagedObjectContext.h"
#include "model/store/Utf8Scratch.h"

class PersistentStore;

// Writes a context's pending changes to its store in one SQLite transaction:
// rows of inserted objects, whole rows of changed ones, deletions (with their
// join rows), the many-to-many changes and the range indexes. Nothing of the context changes
// unless the transaction commits.
class SaveTransaction {
public:
    explicit SaveTransaction(ManagedObjectContext *context);

    // Throws StoreError (after rolling back) when the store refuses a write.
    ChangeSet run();

private:
    // The statements are prepared once per save and entity (the
    // connection keeps them), not looked up by their text for every row.
    struct EntityColumns {
        // Per slot: where its value goes, in its family's table (after Z_PK
        // and Z_ENT) and among the update's parameters; -1 when the slot
        // is not stored.
        struct Target {
            int column = -1;
            int updateParameter = -1;
        };
        std::vector<Target> targets;
        int storedCount = 0;
        SqliteStatement *update = nullptr;  // nullptr when no slot is stored
        struct Range {
            int lowSlot, highSlot;
            SqliteStatement *remove, *insert;
        };
        std::vector<Range> ranges;  // the entity's range indexes
    };
    // New rows of a family's table are written several to a statement:
    // SQLite's work per statement (opening the table and each of its
    // indexes, and closing them) cost as much as writing the row. Every
    // row of the family fills every column of the table, with NULL where
    // the entity has no property or the object no value.
    struct FamilyInsert {
        int parametersPerRow = 0;  // Z_PK, Z_ENT and the table's columns
        int rowsPerBatch = 1;
        SqliteStatement *batch = nullptr;   // rowsPerBatch rows
        SqliteStatement *single = nullptr;  // one row
    };
    static constexpr int kRowsPerInsert = 32;
    const EntityColumns &columnsFor(const EntityDescription *entity);
    const FamilyInsert &insertFor(const EntityDescription *family);
    // Binds the object's set values (unset ones stay NULL: the caller
    // clears the bindings first); a stored slot goes to parameter
    // base + (byColumn ? its column : its update parameter). The statement
    // must then run through executeRow().
    void bindValues(SqliteStatement &statement, ManagedObject *object, const EntityColumns &columns,
                    int base, bool byColumn);
    void executeRow(SqliteStatement &statement);
    void callWillSave(QList<ManagedObject *> &inserted, QList<ManagedObject *> &updated);
    void insertRows(const QList<ManagedObject *> &inserted);
    void write(const ChangeSet &changes);
    void writeRangeIndexes(const ChangeSet &changes);
    void commitInMemory(const ChangeSet &changes);

    ManagedObjectContext *m_context;
    PersistentStore *m_store;
    QHash<const EntityDescription *, EntityColumns> m_columns;
    QHash<const EntityDescription *, FamilyInsert> m_inserts;
    Utf8Scratch m_utf8;  // the text of the rows being written
};
