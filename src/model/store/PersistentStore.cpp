#include "model/store/PersistentStore.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <algorithm>
#include <limits>

#include "model/foundation/Log.h"
#include "model/store/StoreError.h"

namespace {

const QString kSchemaHashKey = QStringLiteral("SchemaHash");

QString sqlType(const PropertyDescription *property) {
    if (property->isRelationship)
        return QStringLiteral("INTEGER");
    switch (property->type) {
        case AttributeType::String:
            return QStringLiteral("TEXT");
        case AttributeType::Integer:
        case AttributeType::Boolean:
            return QStringLiteral("INTEGER");
        case AttributeType::Double:
        case AttributeType::Date:
            return QStringLiteral("REAL");
        case AttributeType::Binary:
            return QStringLiteral("BLOB");
    }
    return QString();
}

bool isStoredInRow(const PropertyDescription *property) {
    return property->isRelationship ? property->isToOne() : !property->isTransient;
}

}  // namespace

PersistentStore::PersistentStore(const ManagedObjectModel *model, const QString &path,
                                 Options options)
    : m_model(model), m_path(path) {
    m_connection = std::make_unique<SqliteConnection>(path);
    SqliteConnection &db = *m_connection;
    const QVariant mode = db.queryValue(QStringLiteral("PRAGMA journal_mode=WAL"));
    if (mode.toString().compare(QLatin1String("wal"), Qt::CaseInsensitive) != 0)
        throw StoreError(
            StoreError::PersistentStoreOpen,
            QStringLiteral("%1 is not a store (journal mode %2)").arg(path, mode.toString()));
    db.execute(QStringLiteral("PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=OFF"));
    if (options.integrityCheck) {
        const QString result = db.queryValue(QStringLiteral("PRAGMA integrity_check")).toString();
        if (result != QLatin1String("ok"))
            throw StoreError(StoreError::PersistentStoreOpen,
                             QStringLiteral("%1 failed the integrity check: %2").arg(path, result));
    }
    createOrMigrate();
    if (options.vacuum)
        db.execute(QStringLiteral("VACUUM"));
    updateStatistics();
}

void PersistentStore::noteRowsInserted(qint64 count) {
    m_rowsSinceStatistics += count;
    if (m_rowsSinceStatistics >= std::max<qint64>(1000, m_rowsAtStatistics))
        updateStatistics();
}

void PersistentStore::updateStatistics() {
    SqliteConnection &db = *m_connection;
    db.execute(QStringLiteral("PRAGMA analysis_limit=400; ANALYZE"));
    qint64 rows = 0;
    for (auto it = m_layouts.cbegin(); it != m_layouts.cend(); ++it)
        rows += m_lastPrimaryKey.value(it.key());
    m_rowsAtStatistics = rows;
    m_rowsSinceStatistics = 0;
}

PersistentStore::~PersistentStore() = default;

QString PersistentStore::migrationBackupPath(const QString &path) {
    const QFileInfo info(path);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral("~.") + info.suffix());
}

QVariantMap PersistentStore::metadataForStore(const QString &path) {
    QVariantMap metadata;
    if (!QFileInfo::exists(path))
        return metadata;
    try {
        SqliteConnection db(path, SqliteConnection::Mode::ReadOnly);
        if (!db.queryValue(QStringLiteral("SELECT 1 FROM sqlite_master WHERE name='Z_METADATA'"))
                 .isValid())
            return metadata;
        SqliteStatement &query =
            db.statement(QStringLiteral("SELECT Z_KEY, Z_VALUE FROM Z_METADATA"));
        while (query.step())
            metadata.insert(query.columnText(0), query.columnValue(1));
    } catch (const StoreError &error) {
        logError("Unable to read store metadata: %@", error.description());
    }
    return metadata;
}

QVariantMap PersistentStore::metadata() {
    QVariantMap metadata;
    SqliteStatement &query =
        m_connection->statement(QStringLiteral("SELECT Z_KEY, Z_VALUE FROM Z_METADATA"));
    while (query.step())
        metadata.insert(query.columnText(0), query.columnValue(1));
    return metadata;
}

void PersistentStore::setMetadataValue(const QString &key, const QVariant &value) {
    m_connection
        ->statement(
            QStringLiteral("INSERT OR REPLACE INTO Z_METADATA(Z_KEY, Z_VALUE) VALUES (?, ?)"))
        .bind(1, key)
        .bind(2, value)
        .execute();
}

std::unique_ptr<SqliteConnection> PersistentStore::openWorkerConnection() const {
    return std::make_unique<SqliteConnection>(m_path, SqliteConnection::Mode::ReadOnly);
}

void PersistentStore::createOrMigrate() {
    SqliteConnection &db = *m_connection;
    const bool existing =
        db.queryValue(QStringLiteral("SELECT 1 FROM sqlite_master WHERE name='Z_METADATA'"))
            .isValid();
    const QByteArray hash = m_model->schemaHash();
    if (existing) {
        const QVariant stored = db.queryValue(
            QStringLiteral("SELECT Z_VALUE FROM Z_METADATA WHERE Z_KEY='%1'").arg(kSchemaHashKey));
        m_migrated = stored.toByteArray() != hash;
        if (m_migrated) {
            // Keep a copy of the old store until the caller has finished upgrading.
            const QString backup = migrationBackupPath(m_path);
            QFile::remove(backup);
            db.statement(QStringLiteral("VACUUM INTO ?")).bind(1, backup).execute();
        }
    }
    db.begin();
    try {
        db.execute(QStringLiteral(
            "CREATE TABLE IF NOT EXISTS Z_METADATA (Z_KEY TEXT PRIMARY KEY, Z_VALUE);"
            "CREATE TABLE IF NOT EXISTS Z_ENTITIES (Z_ENT INTEGER PRIMARY KEY, Z_NAME TEXT UNIQUE "
            "NOT NULL)"));
        loadEntityCodes();
        buildLayouts();
        ensureTables();
        setMetadataValue(kSchemaHashKey, hash);
        db.commit();
    } catch (...) {
        db.rollback();
        throw;
    }
    readPrimaryKeys();
}

void PersistentStore::loadEntityCodes() {
    SqliteConnection &db = *m_connection;
    int largest = 0;
    SqliteStatement &query = db.statement(QStringLiteral("SELECT Z_ENT, Z_NAME FROM Z_ENTITIES"));
    while (query.step()) {
        const int code = int(query.columnInt(0));
        largest = std::max(largest, code);
        if (const EntityDescription *entity = m_model->entity(query.columnText(1))) {
            m_codeForEntity.insert(entity, code);
            m_entityForCode.insert(code, entity);
        }
    }
    for (const EntityDescription *entity : m_model->entities()) {
        if (m_codeForEntity.contains(entity))
            continue;
        const int code = ++largest;
        db.statement(QStringLiteral("INSERT INTO Z_ENTITIES(Z_ENT, Z_NAME) VALUES (?, ?)"))
            .bindInt(1, code)
            .bind(2, entity->name())
            .execute();
        m_codeForEntity.insert(entity, code);
        m_entityForCode.insert(code, entity);
    }
}

void PersistentStore::buildLayouts() {
    for (const EntityDescription *root : m_model->rootEntities()) {
        TableLayout &layout = m_layouts[root];
        layout.table = root->name();
        QHash<QString, int> columnForName;
        for (const EntityDescription *entity : root->selfAndDescendants()) {
            std::vector<int> slotColumns(entity->properties().size(), -1);
            for (const PropertyDescription *property : entity->properties()) {
                if (!isStoredInRow(property))
                    continue;
                auto it = columnForName.find(property->name);
                if (it == columnForName.end()) {
                    it = columnForName.insert(property->name, int(layout.columns.size()));
                    layout.columns.push_back({property->name, property});
                }
                slotColumns[property->slot] = it.value();
            }
            layout.columnForSlot.insert(entityCode(entity), std::move(slotColumns));
        }
    }
}

void PersistentStore::ensureTables() {
    SqliteConnection &db = *m_connection;
    for (auto it = m_layouts.cbegin(); it != m_layouts.cend(); ++it) {
        const TableLayout &layout = it.value();
        const QString table = sqlIdentifier(layout.table);
        db.execute(
            QStringLiteral(
                "CREATE TABLE IF NOT EXISTS %1 (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER NOT NULL)")
                .arg(table));
        QSet<QString> existing;
        SqliteStatement &info = db.statement(QStringLiteral("PRAGMA table_info(%1)").arg(table));
        while (info.step())
            existing.insert(info.columnText(1));
        for (const Column &column : layout.columns) {
            if (!existing.contains(column.name))
                db.execute(QStringLiteral("ALTER TABLE %1 ADD COLUMN %2 %3")
                               .arg(table, sqlIdentifier(column.name), sqlType(column.property)));
        }
        QSet<QString> ranges;
        for (const EntityDescription *entity : it.key()->selfAndDescendants()) {
            for (const EntityDescription::RangeIndex &range : entity->rangeIndexes()) {
                if (!ranges.contains(rangeIndexTable(range))) {
                    ranges.insert(rangeIndexTable(range));
                    ensureRangeIndex(range);
                }
            }
        }
    }
    for (const EntityDescription *entity : m_model->entities()) {
        for (const PropertyDescription *property : entity->properties()) {
            if (property->entity != entity || !property->isManyToMany() || !isStoredSide(property))
                continue;
            const QString join = joinTable(property);
            db.execute(
                QStringLiteral("CREATE TABLE IF NOT EXISTS %1 (Z_SOURCE INTEGER NOT NULL, "
                               "Z_TARGET INTEGER NOT NULL, PRIMARY KEY (Z_SOURCE, Z_TARGET))")
                    .arg(sqlIdentifier(join)));
        }
    }
    ensureIndexes();
}

QHash<QString, QString> PersistentStore::wantedIndexes() const {
    QHash<QString, QString> wanted;
    const auto want = [&wanted](const QString &table, const QString &column, bool onlyWhenSet) {
        const QString name = table + QLatin1Char('_') + column;
        QString sql = QStringLiteral("CREATE INDEX %1 ON %2(%3)")
                          .arg(sqlIdentifier(name), sqlIdentifier(table), sqlIdentifier(column));
        if (onlyWhenSet)
            sql += QStringLiteral(" WHERE %1 IS NOT NULL").arg(sqlIdentifier(column));
        wanted.insert(name, sql);
    };
    for (auto it = m_layouts.cbegin(); it != m_layouts.cend(); ++it) {
        const QString &table = it.value().table;
        // A column can hold properties of several entities of the family;
        // it is indexed on every row when one of them belongs to all rows.
        QHash<QString, bool> onlyWhenSet;
        for (const EntityDescription *entity : it.key()->selfAndDescendants()) {
            for (const PropertyDescription *property : entity->properties()) {
                if (property->entity != entity || !isStoredInRow(property))
                    continue;
                bool partial;
                if (property->isRelationship) {
                    // Members of a to-many are looked up by equality, never
                    // by NULL; each side of a one-to-one is read from its
                    // own row and needs no index.
                    if (!property->inverse || !property->inverse->isToMany)
                        continue;
                    partial = true;
                } else if (property->isIndexed) {
                    partial = entity != entity->root();
                } else {
                    continue;
                }
                auto known = onlyWhenSet.find(property->name);
                if (known == onlyWhenSet.end())
                    onlyWhenSet.insert(property->name, partial);
                else
                    *known = *known && partial;
            }
        }
        for (auto column = onlyWhenSet.cbegin(); column != onlyWhenSet.cend(); ++column)
            want(table, column.key(), column.value());
        want(table, QStringLiteral("Z_ENT"), false);
    }
    for (const EntityDescription *entity : m_model->entities()) {
        for (const PropertyDescription *property : entity->properties()) {
            if (property->entity == entity && property->isManyToMany() && isStoredSide(property))
                want(joinTable(property), QStringLiteral("Z_TARGET"), false);
        }
    }
    return wanted;
}

void PersistentStore::ensureIndexes() {
    SqliteConnection &db = *m_connection;
    QHash<QString, QString> missing = wantedIndexes();
    QStringList unwanted;
    SqliteStatement &existing = db.statement(QStringLiteral(
        "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND sql NOT NULL"));
    while (existing.step()) {
        const QString name = existing.columnText(0);
        if (missing.value(name) == existing.columnText(1))
            missing.remove(name);
        else
            unwanted << name;
    }
    existing.reset();
    for (const QString &name : std::as_const(unwanted))
        db.execute(QStringLiteral("DROP INDEX %1").arg(sqlIdentifier(name)));
    for (const QString &sql : std::as_const(missing))
        db.execute(sql);
}

QString PersistentStore::rangeIndexTable(const EntityDescription::RangeIndex &range) {
    return QStringLiteral("%1_%2_%3")
        .arg(range.low->entity->root()->name(), range.low->name, range.high->name);
}

void PersistentStore::ensureRangeIndex(const EntityDescription::RangeIndex &range) {
    SqliteConnection &db = *m_connection;
    const QString tree = rangeIndexTable(range);
    if (db.queryValue(QStringLiteral("SELECT 1 FROM sqlite_master WHERE name = '%1'").arg(tree))
            .isValid())
        return;
    const QString table = sqlIdentifier(range.low->entity->root()->name());
    const QString low = sqlIdentifier(range.low->name);
    const QString high = sqlIdentifier(range.high->name);
    // Rows already there (a store made before the index) go in as saving
    // would put them.
    const auto clamped = [](const QString &value) {
        return QStringLiteral("max(-2147483648, min(2147483647, %1))").arg(value);
    };
    const QString both = low + QStringLiteral(", ") + high;
    db.execute(QStringLiteral("CREATE VIRTUAL TABLE %1 USING rtree_i32(id, low, high);"
                              "INSERT INTO %1 SELECT Z_PK, %3, %4 FROM %2 WHERE %5 IS NOT NULL "
                              "AND %6 IS NOT NULL")
                   .arg(sqlIdentifier(tree), table, clamped(QStringLiteral("min(%1)").arg(both)),
                        clamped(QStringLiteral("max(%1)").arg(both)), low, high));
}

qint64 PersistentStore::rangeIndexValue(double value) {
    return qint64(std::clamp(value, double(std::numeric_limits<qint32>::min()),
                             double(std::numeric_limits<qint32>::max())));
}

std::optional<std::pair<qint64, qint64>> PersistentStore::rangeIndexEntry(const QVariant &low,
                                                                          const QVariant &high) {
    if (!low.isValid() || low.isNull() || !high.isValid() || high.isNull())
        return std::nullopt;
    const qint64 a = rangeIndexValue(double(low.toLongLong()));
    const qint64 b = rangeIndexValue(double(high.toLongLong()));
    return std::pair{std::min(a, b), std::max(a, b)};
}

void PersistentStore::readPrimaryKeys() {
    QMutexLocker lock(&m_keyMutex);
    for (auto it = m_layouts.cbegin(); it != m_layouts.cend(); ++it) {
        const QVariant largest = m_connection->queryValue(
            QStringLiteral("SELECT MAX(Z_PK) FROM %1").arg(sqlIdentifier(it.value().table)));
        qint64 &last = m_lastPrimaryKey[it.key()];
        last = std::max(last, largest.toLongLong());
    }
}

qint64 PersistentStore::newPrimaryKey(const EntityDescription *family) {
    QMutexLocker lock(&m_keyMutex);
    return ++m_lastPrimaryKey[family->root()];
}

const PersistentStore::TableLayout &PersistentStore::layout(const EntityDescription *family) const {
    auto it = m_layouts.constFind(family->root());
    Q_ASSERT(it != m_layouts.constEnd());
    return it.value();
}

bool PersistentStore::isStoredSide(const PropertyDescription *relationship) const {
    const QString mine = relationship->entity->name() + QLatin1Char('.') + relationship->name;
    const QString theirs =
        relationship->inverse->entity->name() + QLatin1Char('.') + relationship->inverse->name;
    return mine < theirs;
}

QString PersistentStore::joinTable(const PropertyDescription *relationship) const {
    const PropertyDescription *stored =
        isStoredSide(relationship) ? relationship : relationship->inverse;
    return QStringLiteral("Z_%1_%2").arg(stored->entity->name(), stored->name);
}

QString PersistentStore::entityCodeList(const EntityDescription *entity,
                                        bool includeSubentities) const {
    QStringList codes;
    if (includeSubentities) {
        for (const EntityDescription *member : entity->selfAndDescendants())
            codes << QString::number(entityCode(member));
    } else {
        codes << QString::number(entityCode(entity));
    }
    return codes.join(QLatin1Char(','));
}
