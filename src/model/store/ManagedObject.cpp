#include "model/store/ManagedObject.h"

#include <QDateTime>
#include <stdexcept>

#include "model/foundation/Date.h"
#include "model/store/ManagedObjectContext.h"

namespace {

// The value converted to what an attribute of the type holds.
QVariant coerced(AttributeType type, const QVariant &value) {
    if (!value.isValid() || value.isNull())
        return QVariant();
    switch (type) {
        case AttributeType::String:
            return value.typeId() == QMetaType::QString ? value : QVariant(value.toString());
        case AttributeType::Integer:
            return value.typeId() == QMetaType::LongLong ? value : QVariant(value.toLongLong());
        case AttributeType::Boolean:
            return value.typeId() == QMetaType::Bool ? value : QVariant(value.toBool());
        case AttributeType::Double:
            return value.typeId() == QMetaType::Double ? value : QVariant(value.toDouble());
        case AttributeType::Date:
            if (value.metaType() == QMetaType::fromType<Date>())
                return value;
            if (value.typeId() == QMetaType::QDateTime)
                return QVariant::fromValue(Date::fromDateTime(value.toDateTime()));
            return QVariant::fromValue(Date(value.toDouble()));
        case AttributeType::Binary:
            return value.typeId() == QMetaType::QByteArray ? value : QVariant(value.toByteArray());
    }
    return value;
}

ManagedObject *objectIn(const QVariant &value) {
    return value.isValid() ? value.value<ManagedObject *>() : nullptr;
}

}  // namespace

ManagedObject::ManagedObject(const EntityDescription *entity, ManagedObjectContext *context)
    : m_context(context) {
    m_id.entity = entity;
}

ManagedObject::~ManagedObject() = default;

const EntityDescription *ManagedObject::entity() const {
    if (!(m_state & EntityKnown))
        fireFault();
    return m_id.entity;
}

QStringList ManagedObject::changedKeys() const {
    QStringList keys;
    for (std::size_t slot = 0; slot < m_changed.size(); ++slot) {
        if (m_changed[slot])
            keys << m_id.entity->properties()[slot]->name;
    }
    return keys;
}

const PropertyDescription *ManagedObject::propertyNamed(const QString &key) const {
    return entity()->property(key);
}

const PropertyDescription *ManagedObject::requireProperty(const QString &key) const {
    const PropertyDescription *property = entity()->property(key);
    if (!property)
        throw std::invalid_argument(
            QStringLiteral("%1 has no property %2").arg(m_id.entity->name(), key).toStdString());
    return property;
}

QVariant ManagedObject::valueForKey(const QString &key) const {
    const PropertyDescription *property = entity()->property(key);
    if (!property)
        return QVariant();
    if (property->isToMany)
        return QVariant::fromValue(toMany(property));
    return primitiveValue(property);
}

void ManagedObject::setValue(const QString &key, const QVariant &value) {
    const PropertyDescription *property = requireProperty(key);
    if (property->isToMany)
        throw std::invalid_argument(
            QStringLiteral("%1 is a to-many relationship: add or remove its members")
                .arg(key)
                .toStdString());
    if (property->isRelationship)
        setToOne(property, objectIn(value));
    else
        setPrimitiveValue(property, value);
}

ManagedObject *ManagedObject::objectForKey(const QString &key) const {
    const PropertyDescription *property = requireProperty(key);
    if (!property->isToOne())
        throw std::invalid_argument(
            QStringLiteral("%1 is not a to-one relationship").arg(key).toStdString());
    return toOne(property);
}

void ManagedObject::setObject(const QString &key, ManagedObject *object) {
    const PropertyDescription *property = requireProperty(key);
    if (!property->isToOne())
        throw std::invalid_argument(
            QStringLiteral("%1 is not a to-one relationship").arg(key).toStdString());
    setToOne(property, object);
}

QList<ManagedObject *> ManagedObject::objectsForKey(const QString &key) const {
    const PropertyDescription *property = requireProperty(key);
    if (!property->isToMany)
        throw std::invalid_argument(
            QStringLiteral("%1 is not a to-many relationship").arg(key).toStdString());
    return toMany(property);
}

void ManagedObject::addObject(const QString &key, ManagedObject *object) {
    const PropertyDescription *property = requireProperty(key);
    if (!property->isToMany)
        throw std::invalid_argument(
            QStringLiteral("%1 is not a to-many relationship").arg(key).toStdString());
    if (!object)
        return;
    if (property->isManyToMany()) {
        if (!toMany(property).contains(object))
            m_context->changeManyToMany(this, property, object, true);
    } else {
        object->setToOne(property->inverse, this);
    }
}

void ManagedObject::removeObject(const QString &key, ManagedObject *object) {
    const PropertyDescription *property = requireProperty(key);
    if (!property->isToMany)
        throw std::invalid_argument(
            QStringLiteral("%1 is not a to-many relationship").arg(key).toStdString());
    if (!object)
        return;
    if (property->isManyToMany()) {
        if (toMany(property).contains(object))
            m_context->changeManyToMany(this, property, object, false);
    } else if (object->toOne(property->inverse) == this) {
        object->setToOne(property->inverse, nullptr);
    }
}

const QVariant &ManagedObject::primitiveValue(const PropertyDescription *property) const {
    willAccess();
    return m_values.value(property->slot);
}

void ManagedObject::setPrimitiveValue(const PropertyDescription *property, const QVariant &value) {
    if (property->isRelationship)
        throw std::invalid_argument(QStringLiteral("%1 is a relationship, not an attribute")
                                        .arg(property->name)
                                        .toStdString());
    willAccess();
    QVariant converted = coerced(property->type, value);
    const QVariant &current = m_values.value(property->slot);
    if (current == converted && current.isValid() == converted.isValid())
        return;
    willChange(property);
    m_values.valueToSet(property->slot) = std::move(converted);
    markChanged(property);
}

ManagedObject *ManagedObject::toOne(const PropertyDescription *relationship) const {
    willAccess();
    return objectIn(m_values.value(relationship->slot));
}

void ManagedObject::setToOne(const PropertyDescription *relationship, ManagedObject *object) {
    ManagedObject *old = toOne(relationship);
    if (old == object)
        return;
    if (object) {
        if (!object->entity()->isKindOf(relationship->destination))
            throw std::invalid_argument(
                QStringLiteral("%1.%2 cannot hold a %3")
                    .arg(m_id.entity->name(), relationship->name, object->entityName())
                    .toStdString());
        if (object->m_context != m_context)
            throw std::invalid_argument("objects of different contexts cannot be related");
    }
    const PropertyDescription *inverse = relationship->inverse;
    if (inverse && old) {
        if (inverse->isToMany)
            old->removeFromToMany(inverse, this);
        else
            old->setToOneKeepingInverse(inverse, nullptr);
    }
    if (inverse && object) {
        if (inverse->isToMany) {
            object->insertIntoToMany(inverse, this);
        } else {
            // The object's previous partner loses it.
            if (ManagedObject *previous = object->toOne(inverse); previous && previous != this)
                previous->setToOneKeepingInverse(relationship, nullptr);
            object->setToOneKeepingInverse(inverse, this);
        }
    }
    setToOneKeepingInverse(relationship, object);
}

void ManagedObject::setToOneKeepingInverse(const PropertyDescription *relationship,
                                           ManagedObject *object) {
    willAccess();
    if (objectIn(m_values.value(relationship->slot)) == object)
        return;
    willChange(relationship);
    m_values.valueToSet(relationship->slot) = object ? QVariant::fromValue(object) : QVariant();
    markChanged(relationship);
}

const QList<ManagedObject *> &ManagedObject::toMany(const PropertyDescription *relationship) const {
    ToManyState &state = toManyState(relationship);
    if (!state.loaded)
        m_context->loadToMany(const_cast<ManagedObject *>(this), relationship);
    return state.objects;
}

ManagedObject::ToManyState *ManagedObject::existingToManyState(
    const PropertyDescription *relationship) const {
    for (ToManyNode *node = m_toMany.get(); node; node = node->next.get()) {
        if (node->slot == relationship->slot)
            return &node->state;
    }
    return nullptr;
}

ManagedObject::ToManyState &ManagedObject::toManyState(
    const PropertyDescription *relationship) const {
    ToManyState *existing = existingToManyState(relationship);
    if (!existing) {
        auto node = std::make_unique<ToManyNode>();
        node->slot = relationship->slot;
        node->next = std::move(m_toMany);
        m_toMany = std::move(node);
        existing = &m_toMany->state;
    }
    ToManyState &state = *existing;
    if (m_state & (Inserted | MembersKnown))
        state.loaded = true;  // a new object has no other members than those in memory
    return state;
}

void ManagedObject::insertIntoToMany(const PropertyDescription *relationship,
                                     ManagedObject *object) {
    // Called only when the object was not a member (its to-one pointed
    // elsewhere), so no membership test is needed.
    toMany(relationship);
    toManyState(relationship).objects.append(object);
    didChangeValueForKey(*relationship);
}

void ManagedObject::removeFromToMany(const PropertyDescription *relationship,
                                     ManagedObject *object) {
    toMany(relationship);
    if (toManyState(relationship).objects.removeOne(object))
        didChangeValueForKey(*relationship);
}

void ManagedObject::willChange(const PropertyDescription *property) {
    if (m_state & Deleted)
        throw std::logic_error(QStringLiteral("%1 of a deleted %2 cannot change")
                                   .arg(property->name, m_id.entity->name())
                                   .toStdString());
    if (!m_context)
        throw std::logic_error("an object whose deletion was saved cannot change");
    if (!property->isTransient && !(m_state & (Inserted | Updated))) {
        m_state |= Updated;
        m_context->noteChanged(this);
    }
}

void ManagedObject::markChanged(const PropertyDescription *property) {
    if (m_changed.size() < m_values.slotCount())
        m_changed.resize(m_values.slotCount(), false);
    m_changed[property->slot] = true;
    didChangeValueForKey(*property);
}

void ManagedObject::fireFault() const {
    if (!m_context)
        throw StoreError(StoreError::ObjectNotFound,
                         QStringLiteral("%1 was deleted").arg(m_id.uriRepresentation()));
    m_context->loadRow(const_cast<ManagedObject *>(this));
}

void ManagedObject::turnIntoFault() {
    m_values.clear();
    m_toMany.reset();
    m_changed.clear();
    m_state = (m_state & EntityKnown) | Fault;
    didTurnIntoFault();
}
