#pragma once

#include <QHash>
#include <QMutex>
#include <QString>
#include <QVariantMap>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "model/store/ManagedObjectModel.h"
#include "model/store/SqliteConnection.h"

// The SQLite file behind the contexts: one table per entity family (with an
// entity column), join tables for many-to-many relationships, a metadata
// table, and the entity codes used in the rows. Opening creates the tables of
// a new store and migrates an older one to the model: missing tables and
// columns are added, indexes rebuilt to the current layout, a copy of the file is left beside it
// while that runs
// ("<name>~.<ext>"), and wasMigrated() says so.
class PersistentStore {
public:
    struct Options {
        bool vacuum = false;          // VACUUM after opening
        bool integrityCheck = false;  // PRAGMA integrity_check; a damaged store fails to open
    };

    // Throws StoreError when the file cannot be opened, is not a store, or
    // fails the integrity check.
    PersistentStore(const ManagedObjectModel *model, const QString &path, Options options);
    PersistentStore(const ManagedObjectModel *model, const QString &path)
        : PersistentStore(model, path, Options()) {}
    ~PersistentStore();

    // The metadata of the store at path without opening it for writing; empty
    // when there is no store there.
    static QVariantMap metadataForStore(const QString &path);
    // The migration copy's path: "/dir/Name~.ext" for "/dir/Name.ext".
    static QString migrationBackupPath(const QString &path);

    const ManagedObjectModel *model() const { return m_model; }
    const QString &path() const { return m_path; }
    bool wasMigrated() const { return m_migrated; }

    QVariantMap metadata();
    void setMetadataValue(const QString &key, const QVariant &value);

    // The connection of the main context.
    SqliteConnection &connection() { return *m_connection; }
    // A new read-only connection for a worker context.
    std::unique_ptr<SqliteConnection> openWorkerConnection() const;

    // SQLite's statistics of the tables must follow their size, or it takes
    // the entity-code index for as selective as a uid's, and a fetch by uid
    // walks every row of the entity. They are gathered (reading a few hundred
    // rows per index) when the store opens, and again once saves have added
    // as many rows as the tables held then; saving reports its rows here.
    void noteRowsInserted(qint64 count);

    // A new primary key for a row of the family; thread-safe.
    qint64 newPrimaryKey(const EntityDescription *family);
    // Takes in the rows another connection (a command run while the
    // application holds the store open) has added since, so that new keys
    // go past them. Call it with nothing new unsaved here: keys handed out
    // before are not moved.
    void readPrimaryKeys();

    // How the rows are laid out.
    struct Column {
        QString name;
        const PropertyDescription *property;  // the first property stored in it
    };
    struct TableLayout {
        QString table;
        std::vector<Column> columns;  // after Z_PK and Z_ENT
        // Per entity code: for each slot, its column index, or -1 when the
        // slot is transient, to-many or not stored in this table.
        QHash<int, std::vector<int>> columnForSlot;
    };
    const TableLayout &layout(const EntityDescription *family) const;
    QString joinTable(const PropertyDescription *relationship) const;
    // Whether the many-to-many relationship's rows keep the source in column
    // "Z_SOURCE" (true) or in "Z_TARGET" (the inverse side is stored).
    bool isStoredSide(const PropertyDescription *relationship) const;
    // The R*Tree of a range index: a row (id, low, high) for every row of the
    // family's table whose range is set, with id its Z_PK. Saving keeps it up
    // to date. The tree holds 32-bit integers: values beyond are clamped, and
    // a range with low > high is kept as (high, low), so that the tree finds
    // a superset of the rows whose range overlaps a given one.
    static QString rangeIndexTable(const EntityDescription::RangeIndex &range);
    // A value as the tree holds it: clamped to 32 bits.
    static qint64 rangeIndexValue(double value);
    // The tree's (low, high) for a row's two values; none when one is unset.
    static std::optional<std::pair<qint64, qint64>> rangeIndexEntry(const QVariant &low,
                                                                    const QVariant &high);

    int entityCode(const EntityDescription *entity) const { return m_codeForEntity.value(entity); }
    const EntityDescription *entityForCode(int code) const { return m_entityForCode.value(code); }
    // "entity IN (...)": the codes of an entity and, optionally, its descendants.
    QString entityCodeList(const EntityDescription *entity, bool includeSubentities) const;

private:
    void createOrMigrate();
    void loadEntityCodes();
    void buildLayouts();
    void ensureTables();
    void ensureRangeIndex(const EntityDescription::RangeIndex &range);
    // The indexes of the tables by name, each as SQLite keeps its CREATE
    // statement: indexed attributes (on the rows where they are set, when
    // only some entities of the family have them), the to-one side of
    // one-to-many relationships (where set: members are looked up by
    // equality), the entity code, and the target side of join tables.
    QHash<QString, QString> wantedIndexes() const;
    // Drops the indexes that are not wanted as they are (a store of an
    // earlier layout) and creates the missing ones.
    void ensureIndexes();
    void updateStatistics();

    const ManagedObjectModel *m_model;
    QString m_path;
    std::unique_ptr<SqliteConnection> m_connection;
    bool m_migrated = false;
    QHash<const EntityDescription *, int> m_codeForEntity;
    QHash<int, const EntityDescription *> m_entityForCode;
    QHash<const EntityDescription *, TableLayout> m_layouts;
    QMutex m_keyMutex;
    QHash<const EntityDescription *, qint64> m_lastPrimaryKey;
    qint64 m_rowsAtStatistics = 0;
    qint64 m_rowsSinceStatistics = 0;
};
