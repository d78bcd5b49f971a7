#include "model/store/SaveTransaction.h"

#include <sqlite3.h>

#include <QSet>
#include <algorithm>

#include "model/store/PersistentStore.h"

SaveTransaction::SaveTransaction(ManagedObjectContext *context)
    : m_context(context), m_store(context->store()) {}

const SaveTransaction::EntityColumns &SaveTransaction::columnsFor(const EntityDescription *entity) {
    auto it = m_columns.find(entity);
    if (it != m_columns.end())
        return it.value();
    const PersistentStore::TableLayout &layout = m_store->layout(entity);
    const std::vector<int> &columnForSlot = layout.columnForSlot.value(m_store->entityCode(entity));
    EntityColumns columns;
    columns.targets.resize(columnForSlot.size());
    QStringList assignments;
    for (std::size_t slot = 0; slot < columnForSlot.size(); ++slot) {
        if (columnForSlot[slot] < 0)
            continue;
        columns.targets[slot] = {columnForSlot[slot], columns.storedCount++};
        assignments << sqlIdentifier(layout.columns[columnForSlot[slot]].name) +
                           QStringLiteral(" = ?");
    }
    SqliteConnection &db = m_context->connection();
    if (!assignments.isEmpty())
        columns.update = &db.statement(
            QStringLiteral("UPDATE %1 SET %2 WHERE Z_PK = ?")
                .arg(sqlIdentifier(layout.table), assignments.join(QStringLiteral(", "))));
    for (const EntityDescription::RangeIndex &range : entity->rangeIndexes()) {
        const QString tree = PersistentStore::rangeIndexTable(range);
        columns.ranges.push_back(
            {range.low->slot, range.high->slot,
             &db.statement(QStringLiteral("DELETE FROM \"%1\" WHERE id = ?").arg(tree)),
             &db.statement(QStringLiteral("INSERT INTO \"%1\" VALUES (?, ?, ?)").arg(tree))});
    }
    return m_columns.insert(entity, std::move(columns)).value();
}

const SaveTransaction::FamilyInsert &SaveTransaction::insertFor(const EntityDescription *family) {
    auto it = m_inserts.find(family);
    if (it != m_inserts.end())
        return it.value();
    const PersistentStore::TableLayout &layout = m_store->layout(family);
    QString names = QStringLiteral("Z_PK, Z_ENT");
    for (const PersistentStore::Column &column : layout.columns)
        names += QStringLiteral(", ") + sqlIdentifier(column.name);
    FamilyInsert insert;
    insert.parametersPerRow = int(layout.columns.size()) + 2;
    SqliteConnection &db = m_context->connection();
    insert.rowsPerBatch = std::clamp(
        sqlite3_limit(db.handle(), SQLITE_LIMIT_VARIABLE_NUMBER, -1) / insert.parametersPerRow, 1,
        kRowsPerInsert);
    QString row = QStringLiteral("(?");
    for (int i = 1; i < insert.parametersPerRow; ++i)
        row += QStringLiteral(", ?");
    row += QLatin1Char(')');
    // OR FAIL: a row that breaks a constraint stops the statement without
    // undoing the rows before it, so SQLite keeps no statement journal (a
    // copy of every page the statement changes, written to a temporary file:
    // most of what a save wrote). The save rolls back its whole transaction
    // on any failure, so nothing of a failed statement stays either way.
    const QString sql = QStringLiteral("INSERT OR FAIL INTO %1 (%2) VALUES ")
                            .arg(sqlIdentifier(layout.table), names);
    insert.single = &db.statement(sql + row);
    if (insert.rowsPerBatch > 1) {
        QStringList rows(insert.rowsPerBatch, row);
        insert.batch = &db.statement(sql + rows.join(QStringLiteral(", ")));
    }
    return m_inserts.insert(family, insert).value();
}

void SaveTransaction::bindValues(SqliteStatement &statement, ManagedObject *object,
                                 const EntityColumns &columns, int base, bool byColumn) {
    // Only the slots the object ever set can hold a value. Text and data are
    // bound where they are held (text as UTF-8 kept until the statement has
    // run), not copied again.
    const auto &properties = object->m_id.entity->properties();
    const SlotValues &values = object->m_values;
    for (std::size_t i = 0; i < values.setCount(); ++i) {
        const int slot = values.setSlot(i);
        const EntityColumns::Target &target = columns.targets[std::size_t(slot)];
        const QVariant &value = values.setValue(i);
        if (target.column < 0 || !value.isValid() || value.isNull())
            continue;
        const int index = base + (byColumn ? target.column : target.updateParameter);
        if (properties[std::size_t(slot)]->isRelationship) {
            if (auto *destination = value.value<ManagedObject *>())
                statement.bindInt(index, destination->m_id.primaryKey);
            continue;
        }
        switch (value.typeId()) {
            case QMetaType::QString:
                statement.bindTextInPlace(
                    index, m_utf8.add(*static_cast<const QString *>(value.constData())));
                break;
            case QMetaType::QByteArray:
                statement.bindBlobInPlace(index,
                                          *static_cast<const QByteArray *>(value.constData()));
                break;
            default:
                statement.bind(index, value);
                break;
        }
    }
}

void SaveTransaction::executeRow(SqliteStatement &statement) {
    statement.execute();
    m_utf8.clear();
}

void SaveTransaction::callWillSave(QList<ManagedObject *> &inserted,
                                   QList<ManagedObject *> &updated) {
    // willSave() may change objects, including ones not yet called: repeat
    // until every object to be written has been told once. An object comes
    // to be written only by joining the context's list of inserted or of
    // changed objects; while their lengths stay, those to write are among
    // those told, and no set of the told ones is needed.
    const auto listLengths = [this] {
        return std::pair(m_context->m_inserted.size(), m_context->m_updated.size());
    };
    QSet<ManagedObject *> told;
    for (;;) {
        const auto lengthsBefore = listLengths();
        inserted = m_context->insertedObjects();
        updated = m_context->updatedObjects();
        for (const QList<ManagedObject *> *list : {&inserted, &updated}) {
            for (ManagedObject *object : *list) {
                if (!told.contains(object))
                    object->willSave();
            }
        }
        if (listLengths() == lengthsBefore)
            break;
        for (const QList<ManagedObject *> *list : {&inserted, &updated}) {
            for (ManagedObject *object : *list)
                told.insert(object);
        }
    }
    // What willSave() deleted is not written.
    inserted = m_context->insertedObjects();
    updated = m_context->updatedObjects();
}

ChangeSet SaveTransaction::run() {
    m_context->processPendingChanges();
    ChangeSet changes;
    callWillSave(changes.inserted, changes.updated);
    changes.deleted = m_context->deletedObjects();
    if (changes.isEmpty() && m_context->m_joinChanges.isEmpty())
        return changes;
    SqliteConnection &db = m_context->connection();
    db.begin();
    try {
        write(changes);
        db.commit();
    } catch (...) {
        db.rollback();
        throw;
    }
    commitInMemory(changes);
    m_store->noteRowsInserted(changes.inserted.size());
    return changes;
}

void SaveTransaction::insertRows(const QList<ManagedObject *> &inserted) {
    // The rows of each table in the order they were inserted (that of their
    // keys), several to a statement.
    std::vector<std::pair<const EntityDescription *, std::vector<ManagedObject *>>> byFamily;
    for (ManagedObject *object : inserted) {
        const EntityDescription *family = object->m_id.family();
        auto it = std::find_if(byFamily.begin(), byFamily.end(),
                               [family](const auto &rows) { return rows.first == family; });
        if (it == byFamily.end()) {
            byFamily.emplace_back(family, std::vector<ManagedObject *>());
            it = std::prev(byFamily.end());
        }
        it->second.push_back(object);
    }
    for (const auto &[family, rows] : byFamily) {
        const FamilyInsert &insert = insertFor(family);
        for (std::size_t done = 0; done < rows.size();) {
            const std::size_t count =
                rows.size() - done >= std::size_t(insert.rowsPerBatch) ? insert.rowsPerBatch : 1;
            SqliteStatement &statement = count > 1 ? *insert.batch : *insert.single;
            statement.clearBindings();
            for (std::size_t i = 0; i < count; ++i) {
                ManagedObject *object = rows[done + i];
                const int base = int(i) * insert.parametersPerRow;
                statement.bindInt(base + 1, object->m_id.primaryKey);
                statement.bindInt(base + 2, m_store->entityCode(object->m_id.entity));
                bindValues(statement, object, columnsFor(object->m_id.entity), base + 3, true);
            }
            executeRow(statement);
            done += count;
        }
    }
}

void SaveTransaction::write(const ChangeSet &changes) {
    SqliteConnection &db = m_context->connection();
    insertRows(changes.inserted);
    for (ManagedObject *object : changes.updated) {
        const EntityColumns &columns = columnsFor(object->m_id.entity);
        if (!columns.update || object->isFault())
            continue;
        SqliteStatement &update = *columns.update;
        update.clearBindings();
        bindValues(update, object, columns, 1, false);
        update.bindInt(columns.storedCount + 1, object->m_id.primaryKey);
        executeRow(update);
    }
    for (ManagedObject *object : changes.deleted) {
        const EntityDescription *entity = object->m_id.entity;
        db.statement(QStringLiteral("DELETE FROM \"%1\" WHERE Z_PK = ?")
                         .arg(m_store->layout(entity).table))
            .bindInt(1, object->m_id.primaryKey)
            .execute();
        for (const PropertyDescription *property : entity->properties()) {
            if (!property->isManyToMany())
                continue;
            const QString column = m_store->isStoredSide(property) ? QStringLiteral("Z_SOURCE")
                                                                   : QStringLiteral("Z_TARGET");
            db.statement(QStringLiteral("DELETE FROM \"%1\" WHERE %2 = ?")
                             .arg(m_store->joinTable(property), column))
                .bindInt(1, object->m_id.primaryKey)
                .execute();
        }
    }
    for (const ManagedObjectContext::JoinChange &change : m_context->m_joinChanges) {
        if (change.source->isDeleted() || change.target->isDeleted())
            continue;
        const QString sql =
            change.added
                ? QStringLiteral("INSERT OR IGNORE INTO \"%1\" (Z_SOURCE, Z_TARGET) VALUES (?, ?)")
                : QStringLiteral("DELETE FROM \"%1\" WHERE Z_SOURCE = ? AND Z_TARGET = ?");
        db.statement(sql.arg(m_store->joinTable(change.relationship)))
            .bindInt(1, change.source->m_id.primaryKey)
            .bindInt(2, change.target->m_id.primaryKey)
            .execute();
    }
    writeRangeIndexes(changes);
}

void SaveTransaction::writeRangeIndexes(const ChangeSet &changes) {
    const auto write = [&](ManagedObject *object, bool removeOld, bool addNew) {
        for (const EntityColumns::Range &range : columnsFor(object->m_id.entity).ranges) {
            const auto changed = [&](int slot) {
                return std::size_t(slot) < object->m_changed.size() && object->m_changed[slot];
            };
            if (removeOld && addNew && !changed(range.lowSlot) && !changed(range.highSlot))
                continue;
            if (removeOld)
                range.remove->bindInt(1, object->m_id.primaryKey).execute();
            const auto entry =
                addNew ? PersistentStore::rangeIndexEntry(object->m_values.value(range.lowSlot),
                                                          object->m_values.value(range.highSlot))
                       : std::nullopt;
            if (entry)
                range.insert->bindInt(1, object->m_id.primaryKey)
                    .bindInt(2, entry->first)
                    .bindInt(3, entry->second)
                    .execute();
        }
    };
    for (ManagedObject *object : changes.inserted)
        write(object, false, true);
    for (ManagedObject *object : changes.updated) {
        if (!object->isFault())
            write(object, true, true);
    }
    for (ManagedObject *object : changes.deleted)
        write(object, true, false);
}

void SaveTransaction::commitInMemory(const ChangeSet &changes) {
    ManagedObjectContext &context = *m_context;
    for (ManagedObject *object : changes.inserted)
        object->m_state |= ManagedObject::MembersKnown;
    for (ManagedObject *object : changes.inserted + changes.updated) {
        object->m_state &= ~(ManagedObject::Inserted | ManagedObject::Updated);
        object->m_changed.clear();
    }
    // Deleted objects, including ones inserted and deleted before any save,
    // leave the identity map; they stay alive until the context goes away.
    for (ManagedObject *object : context.m_deleted) {
        if (!context.m_objects.remove(object->m_id))
            continue;
        object->m_context = nullptr;
        context.m_graveyard.emplace_back(object);
    }
    context.m_inserted.clear();
    context.m_updated.clear();
    context.m_deleted.clear();
    context.m_joinChanges.clear();
}
