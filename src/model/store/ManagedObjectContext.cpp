#include "model/store/ManagedObjectContext.h"

#include <QSet>
#include <stdexcept>

#include "model/foundation/Date.h"
#include "model/foundation/Log.h"
#include "model/store/FetchExecution.h"
#include "model/store/PersistentStore.h"
#include "model/store/SaveTransaction.h"

namespace {

bool hasSingleEntity(const EntityDescription *entity) {
    return entity->selfAndDescendants().size() == 1;
}

}  // namespace

ManagedObjectContext::ManagedObjectContext(PersistentStore *store, Kind kind)
    : m_store(store), m_kind(kind) {
    if (kind == Kind::Worker)
        m_ownConnection = store->openWorkerConnection();
}

ManagedObjectContext::~ManagedObjectContext() {
    deleteRegisteredObjects();
}

void ManagedObjectContext::deleteRegisteredObjects() {
    m_objects.forEach([](ManagedObject *object) { delete object; });
    m_objects.clear();
}

SqliteConnection &ManagedObjectContext::connection() {
    return m_ownConnection ? *m_ownConnection : m_store->connection();
}

// --- Identity ----------------------------------------------------------------

ManagedObject *ManagedObjectContext::registerObject(const ObjectID &id) {
    ManagedObject *object = m_store->model()->makeObject(id.entity, this);
    object->m_id = id;
    m_objects.insert(id, object);
    return object;
}

ManagedObject *ManagedObjectContext::registeredOrFault(const EntityDescription *entity,
                                                       qint64 primaryKey) {
    const ObjectID id{entity, primaryKey};
    if (ManagedObject *object = m_objects.value(id))
        return object;
    ManagedObject *object = registerObject(id);
    object->m_state = ManagedObject::Fault |
                      (hasSingleEntity(entity) ? unsigned(ManagedObject::EntityKnown) : 0u);
    return object;
}

ManagedObject *ManagedObjectContext::objectWithID(const ObjectID &id) {
    if (!id.isValid())
        return nullptr;
    return registeredOrFault(id.entity, id.primaryKey);
}

QList<ManagedObject *> ManagedObjectContext::objectsWithIDs(const QList<ObjectID> &ids) {
    QList<ManagedObject *> objects;
    QHash<const EntityDescription *, QList<ManagedObject *>> faults;
    for (const ObjectID &id : ids) {
        ManagedObject *object = objectWithID(id);
        objects.append(object);
        if (object && object->isFault())
            faults[id.family()].append(object);
    }
    for (const QList<ManagedObject *> &family : std::as_const(faults))
        loadFaults(family);
    return objects;
}

ManagedObject *ManagedObjectContext::registeredObject(const ObjectID &id) const {
    return m_objects.value(id);
}

ManagedObject *ManagedObjectContext::existingObjectWithID(const ObjectID &id) {
    ManagedObject *object = objectWithID(id);
    if (!object || !object->isFault())
        return object;
    try {
        loadRow(object);
    } catch (const StoreError &error) {
        if (error.code() != StoreError::ObjectNotFound)
            throw;
        return nullptr;
    }
    return object;
}

QList<ManagedObject *> ManagedObjectContext::registeredObjects() const {
    return m_objects.values();
}

// --- Loading -----------------------------------------------------------------

QString ManagedObjectContext::selectColumns(const EntityDescription *family) const {
    const PersistentStore::TableLayout &layout = m_store->layout(family);
    QString sql = QStringLiteral("SELECT t0.Z_PK, t0.Z_ENT");
    for (const PersistentStore::Column &column : layout.columns)
        sql += QStringLiteral(", t0.\"%1\"").arg(column.name);
    return sql + QStringLiteral(" FROM \"%1\" t0 ").arg(layout.table);
}

QVariant ManagedObjectContext::columnValue(const SqliteStatement &row, int column,
                                           const PropertyDescription *property) {
    if (property->isRelationship)
        return QVariant::fromValue(ObjectID{property->destination, row.columnInt(column)});
    switch (property->type) {
        case AttributeType::String:
            return row.columnText(column);
        case AttributeType::Integer:
            return row.columnInt(column);
        case AttributeType::Boolean:
            return row.columnInt(column) != 0;
        case AttributeType::Double:
            return row.columnDouble(column);
        case AttributeType::Date:
            return QVariant::fromValue(Date(row.columnDouble(column)));
        case AttributeType::Binary:
            return row.columnBlob(column);
    }
    return QVariant();
}

void ManagedObjectContext::loadFaults(const QList<ManagedObject *> &objects) {
    if (objects.isEmpty())
        return;
    const QString select = selectColumns(objects.first()->m_id.family());
    for (qsizetype start = 0; start < objects.size(); start += kKeysPerQuery) {
        const QList<ManagedObject *> batch = objects.mid(start, kKeysPerQuery);
        QHash<qint64, ManagedObject *> byKey;
        QStringList placeholders;
        for (ManagedObject *object : batch) {
            byKey.insert(object->m_id.primaryKey, object);
            placeholders << QStringLiteral("?");
        }
        SqliteStatement &query = connection().statement(
            select +
            QStringLiteral("WHERE t0.Z_PK IN (%1)").arg(placeholders.join(QLatin1Char(','))));
        for (int i = 0; i < batch.size(); ++i)
            query.bindInt(i + 1, batch[i]->m_id.primaryKey);
        while (query.step()) {
            if (ManagedObject *object = byKey.value(query.columnInt(0));
                object && object->isFault())
                populate(object, query);
        }
        query.reset();
    }
}

void ManagedObjectContext::loadRow(ManagedObject *object) {
    SqliteStatement &row = connection().statement(selectColumns(object->m_id.family()) +
                                                  QStringLiteral("WHERE t0.Z_PK = ?"));
    row.bindInt(1, object->m_id.primaryKey);
    if (!row.step())
        throw StoreError(
            StoreError::ObjectNotFound,
            QStringLiteral("%1 no longer exists").arg(object->m_id.uriRepresentation()), object);
    populate(object, row);
    row.reset();
}

void ManagedObjectContext::populate(ManagedObject *object, const SqliteStatement &row) {
    const int code = int(row.columnInt(1));
    const EntityDescription *entity = m_store->entityForCode(code);
    if (!entity || entity->root() != object->m_id.family())
        throw StoreError(StoreError::PersistentStoreOperation,
                         QStringLiteral("row %1 has an unknown entity code %2")
                             .arg(object->m_id.uriRepresentation())
                             .arg(code));
    object->m_id.entity = entity;
    const std::vector<int> &columns = m_store->layout(entity).columnForSlot.value(code);
    const auto &properties = entity->properties();
    // Most columns of a row are NULL (those of other entities of the
    // family, unset values): their slots keep the empty value they start with.
    object->m_values.reset(properties.size());
    for (std::size_t slot = 0; slot < properties.size(); ++slot) {
        const int column = columns[slot] + 2;
        if (column < 2 || row.isNull(column))
            continue;
        const PropertyDescription *property = properties[slot];
        object->m_values.valueToSet(int(slot)) =
            property->isRelationship ? QVariant::fromValue(registeredOrFault(property->destination,
                                                                             row.columnInt(column)))
                                     : columnValue(row, column, property);
    }
    object->m_state = (object->m_state & ~ManagedObject::Fault) | ManagedObject::EntityKnown;
    object->awakeFromFetch();
}

void ManagedObjectContext::loadToMany(ManagedObject *owner,
                                      const PropertyDescription *relationship) {
    QList<ManagedObject *> members;
    const qint64 key = owner->m_id.primaryKey;
    if (relationship->isManyToMany()) {
        const bool stored = m_store->isStoredSide(relationship);
        const QString sql = stored
                                ? QStringLiteral("SELECT Z_TARGET FROM \"%1\" WHERE Z_SOURCE = ?")
                                : QStringLiteral("SELECT Z_SOURCE FROM \"%1\" WHERE Z_TARGET = ?");
        SqliteStatement &query = connection().statement(sql.arg(m_store->joinTable(relationship)));
        query.bindInt(1, key);
        while (query.step())
            members.append(registeredOrFault(relationship->destination, query.columnInt(0)));
    } else {
        const PropertyDescription *inverse = relationship->inverse;
        SqliteStatement &query = connection().statement(
            selectColumns(relationship->destination) +
            QStringLiteral("WHERE t0.\"%1\" = ? AND t0.Z_ENT IN (%2)")
                .arg(inverse->name, m_store->entityCodeList(inverse->entity, true)));
        query.bindInt(1, key);
        while (query.step()) {
            ManagedObject *member = registeredOrFault(
                m_store->entityForCode(int(query.columnInt(1))), query.columnInt(0));
            if (member->isFault())
                populate(member, query);
            members.append(member);
        }
    }
    mergePendingMembers(owner, relationship, members);
    ManagedObject::ToManyState &state = owner->toManyState(relationship);
    state.loaded = true;
    state.objects = std::move(members);
}

void ManagedObjectContext::mergePendingMembers(ManagedObject *owner,
                                               const PropertyDescription *relationship,
                                               QList<ManagedObject *> &members) const {
    if (relationship->isManyToMany()) {
        for (const JoinChange &change : m_joinChanges) {
            const bool ownerIsSource = change.relationship == relationship;
            if (!ownerIsSource && change.relationship != relationship->inverse)
                continue;
            ManagedObject *self = ownerIsSource ? change.source : change.target;
            ManagedObject *other = ownerIsSource ? change.target : change.source;
            if (self != owner)
                continue;
            members.removeAll(other);
            if (change.added)
                members.append(other);
        }
        return;
    }
    // Unsaved changes that moved a stored member elsewhere, or deleted it.
    const PropertyDescription *inverse = relationship->inverse;
    members.removeIf([&](ManagedObject *member) {
        return member->isDeleted() || (!member->isFault() && member->toOne(inverse) != owner);
    });
}

// --- Changes -----------------------------------------------------------------

ManagedObject *ManagedObjectContext::insertNewObject(const QString &entityName) {
    const EntityDescription *entity = m_store->model()->entity(entityName);
    if (!entity)
        throw std::invalid_argument(
            QStringLiteral("unknown entity %1").arg(entityName).toStdString());
    return insertNewObject(entity);
}

ManagedObject *ManagedObjectContext::insertNewObject(const EntityDescription *entity) {
    if (entity->isAbstract())
        throw std::invalid_argument(
            QStringLiteral("cannot insert an object of the abstract entity %1")
                .arg(entity->name())
                .toStdString());
    if (m_kind == Kind::Worker)
        throw std::logic_error("worker contexts only read");
    ManagedObject *object = registerObject({entity, m_store->newPrimaryKey(entity)});
    object->m_state = ManagedObject::Inserted | ManagedObject::EntityKnown;
    object->m_values.reset(entity->properties().size());
    m_inserted.append(object);
    noteChanged(object);
    object->awakeFromInsert();
    return object;
}

void ManagedObjectContext::deleteObject(ManagedObject *object) {
    if (!object || object->isDeleted())
        return;
    if (object->m_context != this)
        throw std::invalid_argument("the object belongs to another context");
    object->willAccess();
    object->prepareForDeletion();
    object->m_state |= ManagedObject::Deleted;
    m_deleted.append(object);
    noteChanged(object);
    applyDeleteRules(object);
}

void ManagedObjectContext::applyDeleteRules(ManagedObject *object) {
    for (const PropertyDescription *property : object->m_id.entity->properties()) {
        if (!property->isRelationship)
            continue;
        const PropertyDescription *inverse = property->inverse;
        const QList<ManagedObject *> destinations =
            property->isToMany ? object->toMany(property)
                               : QList<ManagedObject *>{object->toOne(property)};
        for (ManagedObject *destination : destinations) {
            if (!destination || destination->isDeleted())
                continue;
            if (property->deleteRule == DeleteRule::Cascade) {
                deleteObject(destination);
            } else if (inverse && inverse->isToMany) {
                destination->removeFromToMany(inverse, object);
            } else if (inverse) {
                destination->setToOneKeepingInverse(inverse, nullptr);
            }
        }
    }
}

void ManagedObjectContext::changeManyToMany(ManagedObject *object,
                                            const PropertyDescription *relationship,
                                            ManagedObject *member, bool add) {
    if (member->m_context != this)
        throw std::invalid_argument("objects of different contexts cannot be related");
    const PropertyDescription *inverse = relationship->inverse;
    object->toMany(relationship);
    member->toMany(inverse);
    for (auto [self, property, other] :
         {std::tuple{object, relationship, member}, std::tuple{member, inverse, object}}) {
        self->willChange(property);
        QList<ManagedObject *> &list = self->toManyState(property).objects;
        if (add)
            list.append(other);
        else
            list.removeOne(other);
        self->markChanged(property);
    }
    const bool stored = m_store->isStoredSide(relationship);
    m_joinChanges.append(
        {stored ? relationship : inverse, stored ? object : member, stored ? member : object, add});
}

void ManagedObjectContext::noteChanged(ManagedObject *object) {
    if (object->isDeleted())
        m_pendingNotification.deleted.append(object);
    else if (object->isInserted())
        m_pendingNotification.inserted.append(object);
    else {
        m_updated.append(object);
        m_pendingNotification.updated.append(object);
    }
    if (m_kind == Kind::Main && m_pendingNotification.inserted.size() +
                                        m_pendingNotification.updated.size() +
                                        m_pendingNotification.deleted.size() ==
                                    1)
        QMetaObject::invokeMethod(this, &ManagedObjectContext::processPendingChanges,
                                  Qt::QueuedConnection);
}

bool ManagedObjectContext::hasChanges() const {
    return !insertedObjects().isEmpty() || !updatedObjects().isEmpty() ||
           !deletedObjects().isEmpty() || !m_joinChanges.isEmpty();
}

QList<ManagedObject *> ManagedObjectContext::insertedObjects() const {
    QList<ManagedObject *> objects;
    for (ManagedObject *object : m_inserted) {
        if (object->isInserted() && !object->isDeleted())
            objects.append(object);
    }
    return objects;
}

QList<ManagedObject *> ManagedObjectContext::updatedObjects() const {
    QList<ManagedObject *> objects;
    QSet<ManagedObject *> seen;
    for (ManagedObject *object : m_updated) {
        if (object->isUpdated() && !object->isDeleted() && !seen.contains(object)) {
            seen.insert(object);
            objects.append(object);
        }
    }
    return objects;
}

QList<ManagedObject *> ManagedObjectContext::deletedObjects() const {
    QList<ManagedObject *> objects;
    for (ManagedObject *object : m_deleted) {
        if (!object->isInserted())
            objects.append(object);
    }
    return objects;
}

void ManagedObjectContext::processPendingChanges() {
    ChangeSet changes;
    QSet<ManagedObject *> seen;
    const auto collect = [&](const QList<ManagedObject *> &from, QList<ManagedObject *> &to) {
        for (ManagedObject *object : from) {
            if (!seen.contains(object)) {
                seen.insert(object);
                to.append(object);
            }
        }
    };
    // An object deleted in this batch is reported as deleted only.
    collect(m_pendingNotification.deleted, changes.deleted);
    collect(m_pendingNotification.inserted, changes.inserted);
    collect(m_pendingNotification.updated, changes.updated);
    m_pendingNotification = ChangeSet();
    if (!changes.isEmpty())
        emit objectsDidChange(changes);
}

void ManagedObjectContext::refreshObject(ManagedObject *object, bool mergeChanges) {
    if (!object || object->isInserted() || object->isDeleted() || object->isFault())
        return;
    if (mergeChanges && object->isUpdated()) {
        std::vector<std::pair<int, QVariant>> changed;
        for (std::size_t slot = 0; slot < object->m_changed.size(); ++slot) {
            if (object->m_changed[slot])
                changed.emplace_back(int(slot), object->m_values.value(int(slot)));
        }
        object->turnIntoFault();
        loadRow(object);
        object->m_changed.assign(object->m_values.slotCount(), false);
        for (auto &[slot, value] : changed) {
            object->m_values.valueToSet(slot) = std::move(value);
            object->m_changed[slot] = true;
        }
        object->m_state |= ManagedObject::Updated;
        return;
    }
    // Sets that hold the object through an unsaved to-one change let go of
    // it, and the loaded sets of its stored destinations take it back.
    QList<const PropertyDescription *> moved;
    for (const PropertyDescription *property : object->m_id.entity->properties()) {
        if (!property->isToOne() || !property->inverse || !property->inverse->isToMany ||
            object->m_changed.size() <= std::size_t(property->slot) ||
            !object->m_changed[property->slot])
            continue;
        moved.append(property);
        if (ManagedObject *owner = object->toOne(property))
            owner->removeFromToMany(property->inverse, object);
    }
    object->turnIntoFault();
    if (moved.isEmpty())
        return;
    loadRow(object);
    for (const PropertyDescription *property : moved) {
        ManagedObject *owner = object->toOne(property);
        ManagedObject::ToManyState *state =
            owner ? owner->existingToManyState(property->inverse) : nullptr;
        if (state && state->loaded && !state->objects.contains(object))
            state->objects.append(object);
    }
}

void ManagedObjectContext::reset() {
    deleteRegisteredObjects();
    m_inserted.clear();
    m_updated.clear();
    m_deleted.clear();
    m_joinChanges.clear();
    m_pendingNotification = ChangeSet();
    m_graveyard.clear();
}

void ManagedObjectContext::save() {
    if (m_kind == Kind::Worker)
        throw std::logic_error("worker contexts only read");
    const ChangeSet changes = SaveTransaction(this).run();
    if (!changes.isEmpty())
        emit didSave(changes);
}

QList<ManagedObject *> ManagedObjectContext::executeFetchRequest(const FetchRequest &request) {
    return FetchExecution(this, request).objects();
}

QList<FetchedValues> ManagedObjectContext::fetchValues(const FetchRequest &request,
                                                       const QStringList &keys) {
    return FetchExecution(this, request).values(keys);
}

QList<ObjectID> ManagedObjectContext::fetchObjectIDs(const FetchRequest &request) {
    FetchRequest faults = request;
    faults.setReturnsObjectsAsFaults(true);
    faults.setRelationshipKeyPathsForPrefetching({});
    QList<ObjectID> ids;
    for (ManagedObject *object : FetchExecution(this, faults).objects())
        ids.append(object->objectID());
    return ids;
}

qint64 ManagedObjectContext::countForFetchRequest(const FetchRequest &request) {
    return FetchExecution(this, request).count();
}
