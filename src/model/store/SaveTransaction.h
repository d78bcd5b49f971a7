#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <vector>

#include "model/store/ManagedObjectContext.h"

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
        std::vector<int> storedSlots;  // stored slots, each with its own column
        SqliteStatement *insert = nullptr;
        SqliteStatement *update = nullptr;  // nullptr when no slot is stored
        struct Range {
            int lowSlot, highSlot;
            SqliteStatement *remove, *insert;
        };
        std::vector<Range> ranges;  // the entity's range indexes
    };
    const EntityColumns &columnsFor(const EntityDescription *entity);
    // Binds the object's stored values from firstIndex on, and every
    // parameter before that to NULL (bind those after); the statement must
    // then run through executeRow().
    void bindValues(SqliteStatement &statement, ManagedObject *object, const EntityColumns &columns,
                    int firstIndex);
    void executeRow(SqliteStatement &statement);
    void callWillSave(QList<ManagedObject *> &inserted, QList<ManagedObject *> &updated);
    void write(const ChangeSet &changes);
    void writeRangeIndexes(const ChangeSet &changes);
    void commitInMemory(const ChangeSet &changes);

    ManagedObjectContext *m_context;
    PersistentStore *m_store;
    QHash<const EntityDescription *, EntityColumns> m_columns;
    std::vector<QByteArray> m_utf8;  // the text of the row being written
};
