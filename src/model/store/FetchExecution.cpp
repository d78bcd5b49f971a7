#include "model/store/FetchExecution.h"

#include <QSet>
#include <algorithm>
#include <stdexcept>

#include "model/store/PersistentStore.h"
#include "model/store/ValueComparison.h"

FetchExecution::FetchExecution(ManagedObjectContext *context, const FetchRequest &request)
    : m_context(context), m_request(request) {
    m_entity = context->store()->model()->entity(request.entityName());
    if (!m_entity)
        throw std::invalid_argument(
            QStringLiteral("fetch of unknown entity %1").arg(request.entityName()).toStdString());
    m_predicate = request.predicate();
    if (m_predicate)
        m_sql =
            PredicateSql::compile(*m_predicate, m_entity, *context->store(), QStringLiteral("t0"));
    if (request.includesPendingChanges())
        m_pending = pendingCandidates();
}

QList<ManagedObject *> FetchExecution::pendingCandidates() const {
    QList<ManagedObject *> candidates;
    QSet<ManagedObject *> seen;
    const auto fits = [&](ManagedObject *object) {
        const EntityDescription *entity = object->m_id.entity;
        return m_request.includesSubentities() ? entity->isKindOf(m_entity) : entity == m_entity;
    };
    for (const QList<ManagedObject *> *list :
         {&m_context->m_inserted, &m_context->m_updated, &m_context->m_deleted}) {
        for (ManagedObject *object : *list) {
            if (object->m_id.family() == m_entity->root() && fits(object) &&
                !seen.contains(object)) {
                seen.insert(object);
                candidates.append(object);
            }
        }
    }
    return candidates;
}

bool FetchExecution::matches(ManagedObject *object) const {
    return !m_predicate || m_predicate->evaluate(object);
}

bool FetchExecution::sortsInSql() const {
    for (const SortDescriptor &descriptor : m_request.sortDescriptors()) {
        const PropertyDescription *property = m_entity->property(descriptor.keyPath);
        if (!property || !property->isAttribute() || property->isTransient)
            return false;
    }
    return true;
}

QString FetchExecution::orderBy() const {
    QStringList terms;
    for (const SortDescriptor &descriptor : m_request.sortDescriptors())
        terms << QStringLiteral("t0.\"%1\" %2")
                     .arg(descriptor.keyPath,
                          descriptor.ascending ? QStringLiteral("ASC") : QStringLiteral("DESC"));
    terms << QStringLiteral("t0.Z_PK");  // a stable order for equal keys
    return QStringLiteral(" ORDER BY ") + terms.join(QStringLiteral(", "));
}

void FetchExecution::sortInMemory(QList<ManagedObject *> &objects) const {
    const QList<SortDescriptor> &descriptors = m_request.sortDescriptors();
    std::stable_sort(objects.begin(), objects.end(), [&](ManagedObject *a, ManagedObject *b) {
        for (const SortDescriptor &descriptor : descriptors) {
            const int order = ValueComparison::order(a->valueForKeyPath(descriptor.keyPath),
                                                     b->valueForKeyPath(descriptor.keyPath));
            if (order != 0)
                return descriptor.ascending ? order < 0 : order > 0;
        }
        return a->m_id.primaryKey < b->m_id.primaryKey;
    });
}

QList<ManagedObject *> FetchExecution::objects() {
    PersistentStore &store = *m_context->store();
    const bool asFaults = m_request.returnsObjectsAsFaults() && m_sql.exact;
    const bool mergesPending = !m_pending.isEmpty();
    const bool sqlOrder = sortsInSql();
    const bool sqlLimit = m_request.fetchLimit() > 0 && m_sql.exact && !mergesPending &&
                          (sqlOrder || m_request.sortDescriptors().isEmpty());

    QString sql = asFaults ? QStringLiteral("SELECT t0.Z_PK, t0.Z_ENT FROM \"%1\" t0 ")
                                 .arg(store.layout(m_entity).table)
                           : m_context->selectColumns(m_entity);
    sql +=
        QStringLiteral("WHERE t0.Z_ENT IN (%1) AND (%2)")
            .arg(store.entityCodeList(m_entity, m_request.includesSubentities()), m_sql.condition);
    if (sqlOrder && !m_request.sortDescriptors().isEmpty())
        sql += orderBy();
    if (sqlLimit)
        sql += QStringLiteral(" LIMIT %1").arg(m_request.fetchLimit());

    SqliteStatement &query = m_context->connection().statement(sql);
    for (int i = 0; i < m_sql.bindings.size(); ++i)
        query.bind(i + 1, m_sql.bindings[i]);
    QList<ManagedObject *> results;
    while (query.step()) {
        ManagedObject *object = m_context->registeredOrFault(
            store.entityForCode(int(query.columnInt(1))), query.columnInt(0));
        if (object->isFault() && !asFaults)
            m_context->populate(object, query);
        // Objects with unsaved changes are judged by their values in memory.
        if (object->hasChanges() && m_request.includesPendingChanges())
            continue;
        if (!m_sql.exact && !matches(object))
            continue;
        results.append(object);
    }
    query.reset();

    for (ManagedObject *object : m_pending) {
        if (!object->isDeleted() && matches(object))
            results.append(object);
    }
    if (!m_request.sortDescriptors().isEmpty() && (mergesPending || !sqlOrder))
        sortInMemory(results);
    if (m_request.fetchLimit() > 0 && results.size() > m_request.fetchLimit())
        results.resize(m_request.fetchLimit());
    for (const QString &keyPath : m_request.relationshipKeyPathsForPrefetching())
        prefetch(m_context, results, keyPath);
    return results;
}

QList<FetchedValues> FetchExecution::values(const QStringList &keys) {
    if (!m_request.sortDescriptors().isEmpty() || m_request.fetchLimit() > 0 ||
        !m_request.relationshipKeyPathsForPrefetching().isEmpty())
        throw std::invalid_argument("a fetch of values neither sorts, limits nor prefetches");
    // A key of some of the sub-entities reads as none for the others.
    std::vector<const PropertyDescription *> properties;
    for (const QString &key : keys) {
        const PropertyDescription *property = nullptr;
        for (const EntityDescription *entity : m_entity->selfAndDescendants()) {
            if ((property = entity->property(key)))
                break;
        }
        if (!property || property->isToMany || (property->isAttribute() && property->isTransient))
            throw std::invalid_argument(
                QStringLiteral("%1 is not a stored attribute or to-one relationship of %2")
                    .arg(key, m_entity->name())
                    .toStdString());
        properties.push_back(property);
    }
    const auto inMemory = [&](ManagedObject *object) {
        FetchedValues fetched{object->m_id, {}};
        for (const PropertyDescription *property : properties) {
            const PropertyDescription *own = object->m_id.entity->property(property->name);
            const QVariant value = own ? object->primitiveValue(own) : QVariant();
            const ManagedObject *destination =
                property->isRelationship ? value.value<ManagedObject *>() : nullptr;
            fetched.values << (destination                ? QVariant::fromValue(destination->m_id)
                               : property->isRelationship ? QVariant()
                                                          : value);
        }
        return fetched;
    };
    QList<FetchedValues> results;
    if (!m_sql.exact) {  // the predicate needs objects to be judged
        for (ManagedObject *object : objects())
            results.append(inMemory(object));
        return results;
    }

    PersistentStore &store = *m_context->store();
    QString sql = QStringLiteral("SELECT t0.Z_PK, t0.Z_ENT");
    for (const PropertyDescription *property : properties)
        sql += QStringLiteral(", t0.\"%1\"").arg(property->name);
    // Sorted below: an ORDER BY could lead SQLite to walk the table in key
    // order rather than use the indexes the condition names.
    sql +=
        QStringLiteral(" FROM \"%1\" t0 WHERE t0.Z_ENT IN (%2) AND (%3)")
            .arg(store.layout(m_entity).table,
                 store.entityCodeList(m_entity, m_request.includesSubentities()), m_sql.condition);
    SqliteStatement &query = m_context->connection().statement(sql);
    for (int i = 0; i < m_sql.bindings.size(); ++i)
        query.bind(i + 1, m_sql.bindings[i]);
    while (query.step()) {
        const ObjectID id{store.entityForCode(int(query.columnInt(1))), query.columnInt(0)};
        // Objects with unsaved changes are judged by their values in memory.
        if (m_request.includesPendingChanges()) {
            const ManagedObject *registered = m_context->registeredObject(id);
            if (registered && registered->hasChanges())
                continue;
        }
        FetchedValues fetched{id, {}};
        for (int i = 0; i < int(properties.size()); ++i)
            fetched.values << (query.isNull(i + 2) ? QVariant()
                                                   : ManagedObjectContext::columnValue(
                                                         query, i + 2, properties[std::size_t(i)]));
        results.append(std::move(fetched));
    }
    query.reset();
    for (ManagedObject *object : m_pending) {
        if (!object->isDeleted() && matches(object))
            results.append(inMemory(object));
    }
    std::sort(results.begin(), results.end(), [](const FetchedValues &a, const FetchedValues &b) {
        return a.id.primaryKey < b.id.primaryKey;
    });
    return results;
}

qint64 FetchExecution::count() {
    if (!m_sql.exact || !m_pending.isEmpty())
        return objects().size();
    PersistentStore &store = *m_context->store();
    SqliteStatement &query = m_context->connection().statement(
        QStringLiteral("SELECT COUNT(*) FROM \"%1\" t0 WHERE t0.Z_ENT IN (%2) AND (%3)")
            .arg(store.layout(m_entity).table,
                 store.entityCodeList(m_entity, m_request.includesSubentities()), m_sql.condition));
    for (int i = 0; i < m_sql.bindings.size(); ++i)
        query.bind(i + 1, m_sql.bindings[i]);
    const qint64 count = query.step() ? query.columnInt(0) : 0;
    query.reset();
    return m_request.fetchLimit() > 0 ? std::min<qint64>(count, m_request.fetchLimit()) : count;
}

// --- Prefetching -------------------------------------------------------------

void FetchExecution::loadWithPrefetching(ManagedObjectContext *context,
                                         const QList<ManagedObject *> &objects,
                                         const QStringList &keyPaths) {
    QHash<const EntityDescription *, QList<ManagedObject *>> faults;
    for (ManagedObject *object : objects) {
        if (object->isFault())
            faults[object->m_id.family()].append(object);
    }
    for (const QList<ManagedObject *> &family : std::as_const(faults))
        context->loadFaults(family);
    for (const QString &keyPath : keyPaths)
        prefetch(context, objects, keyPath);
}

void FetchExecution::prefetch(ManagedObjectContext *context, const QList<ManagedObject *> &objects,
                              const QString &keyPath) {
    const QString first = keyPath.section(QLatin1Char('.'), 0, 0);
    const QString rest = keyPath.section(QLatin1Char('.'), 1);
    // Results of several entities: prefetch for each one that has the key.
    // Results come in runs of one entity, whose property is looked up once.
    QHash<const PropertyDescription *, QList<ManagedObject *>> owners;
    const EntityDescription *entity = nullptr;
    QList<ManagedObject *> *ownersOfEntity = nullptr;
    for (ManagedObject *object : objects) {
        if (object->isFault())
            continue;
        if (object->m_id.entity != entity) {
            entity = object->m_id.entity;
            const PropertyDescription *property = entity->property(first);
            ownersOfEntity = property && property->isRelationship ? &owners[property] : nullptr;
        }
        if (ownersOfEntity)
            ownersOfEntity->append(object);
    }
    for (auto it = owners.begin(); it != owners.end(); ++it) {
        if (it.key()->isToMany)
            prefetchToMany(context, it.value(), it.key());
        else
            prefetchToOne(context, it.value(), it.key());
        if (rest.isEmpty())
            continue;
        QList<ManagedObject *> next;
        QSet<ManagedObject *> seen;
        for (ManagedObject *owner : it.value()) {
            const QList<ManagedObject *> reached =
                it.key()->isToMany ? owner->toMany(it.key())
                                   : QList<ManagedObject *>{owner->toOne(it.key())};
            for (ManagedObject *object : reached) {
                if (object && !seen.contains(object)) {
                    seen.insert(object);
                    next.append(object);
                }
            }
        }
        prefetch(context, next, rest);
    }
}

void FetchExecution::prefetchToOne(ManagedObjectContext *context,
                                   const QList<ManagedObject *> &owners,
                                   const PropertyDescription *relationship) {
    QList<ManagedObject *> faults;
    QSet<ManagedObject *> seen;
    for (ManagedObject *owner : owners) {
        ManagedObject *destination = owner->toOne(relationship);
        if (destination && destination->isFault() && !seen.contains(destination)) {
            seen.insert(destination);
            faults.append(destination);
        }
    }
    context->loadFaults(faults);
}

void FetchExecution::prefetchToMany(ManagedObjectContext *context,
                                    const QList<ManagedObject *> &owners,
                                    const PropertyDescription *relationship) {
    QList<ManagedObject *> unloaded;
    for (ManagedObject *owner : owners) {
        if (!owner->toManyState(relationship).loaded)
            unloaded.append(owner);
    }
    if (relationship->isManyToMany()) {
        for (ManagedObject *owner : unloaded)
            context->loadToMany(owner, relationship);
        return;
    }
    PersistentStore &store = *context->store();
    const PropertyDescription *inverse = relationship->inverse;
    const QString select = context->selectColumns(relationship->destination);
    for (qsizetype start = 0; start < unloaded.size();
         start += ManagedObjectContext::kKeysPerQuery) {
        const QList<ManagedObject *> batch =
            unloaded.mid(start, ManagedObjectContext::kKeysPerQuery);
        QHash<qint64, QList<ManagedObject *>> members;
        QStringList placeholders;
        for (ManagedObject *owner : batch) {
            members.insert(owner->m_id.primaryKey, {});
            placeholders << QStringLiteral("?");
        }
        SqliteStatement &query = context->connection().statement(
            select + QStringLiteral("WHERE t0.\"%1\" IN (%2) AND t0.Z_ENT IN (%3)")
                         .arg(inverse->name, placeholders.join(QLatin1Char(',')),
                              store.entityCodeList(inverse->entity, true)));
        for (int i = 0; i < batch.size(); ++i)
            query.bindInt(i + 1, batch[i]->m_id.primaryKey);
        const int keyColumn =
            2 + store.layout(relationship->destination)
                    .columnForSlot.value(store.entityCode(inverse->entity))[inverse->slot];
        while (query.step()) {
            ManagedObject *member = context->registeredOrFault(
                store.entityForCode(int(query.columnInt(1))), query.columnInt(0));
            if (member->isFault())
                context->populate(member, query);
            members[query.columnInt(keyColumn)].append(member);
        }
        query.reset();
        for (ManagedObject *owner : batch) {
            QList<ManagedObject *> list = members.take(owner->m_id.primaryKey);
            context->mergePendingMembers(owner, relationship, list);
            ManagedObject::ToManyState &state = owner->toManyState(relationship);
            state.loaded = true;
            state.objects = std::move(list);
        }
    }
}
