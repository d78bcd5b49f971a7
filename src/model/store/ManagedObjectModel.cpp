#include "model/store/ManagedObjectModel.h"

#include <QCryptographicHash>
#include <stdexcept>

#include "model/store/ManagedObject.h"

namespace {
[[noreturn]] void invalid(const QString &message) {
    throw std::logic_error(message.toStdString());
}
}  // namespace

ManagedObjectModel::ManagedObjectModel(QString versionIdentifier,
                                       const std::vector<EntitySpec> &specs)
    : m_version(std::move(versionIdentifier)) {
    // Entities first, in table order: parents must come before children.
    for (const EntitySpec &spec : specs) {
        const QString name = QString::fromLatin1(spec.name);
        if (m_byName.contains(name))
            invalid(QStringLiteral("entity %1 defined twice").arg(name));
        EntityDescription &entity = m_storage.emplace_back();
        entity.m_name = name;
        entity.m_entityID = int(m_storage.size());
        entity.m_isAbstract = spec.isAbstract;
        if (spec.parent) {
            auto *parent =
                const_cast<EntityDescription *>(m_byName.value(QLatin1String(spec.parent)));
            if (!parent)
                invalid(QStringLiteral("entity %1: parent %2 must come first")
                            .arg(name, QLatin1String(spec.parent)));
            entity.m_parent = parent;
            entity.m_root = parent->m_root;
            entity.m_properties = parent->m_properties;
            entity.m_byNameLength = parent->m_byNameLength;
            entity.m_rangeIndexes = parent->m_rangeIndexes;
            parent->m_subentities.append(&entity);
        }
        for (auto *ancestor = &entity; ancestor;
             ancestor = const_cast<EntityDescription *>(ancestor->m_parent))
            ancestor->m_family.append(&entity);
        if (spec.factory)
            m_factories.insert(&entity, spec.factory);

        const auto addProperty = [&](PropertyDescription property) {
            if (entity.property(property.name))
                invalid(QStringLiteral("%1.%2 defined twice").arg(name, property.name));
            property.slot = int(entity.m_properties.size());
            property.entity = &entity;
            PropertyDescription &stored = m_propertyStorage.emplace_back(std::move(property));
            entity.m_properties.push_back(&stored);
            auto &byLength = entity.m_byNameLength;
            if (byLength.size() <= std::size_t(stored.name.size()))
                byLength.resize(stored.name.size() + 1);
            byLength[stored.name.size()].push_back(&stored);
        };
        for (const AttributeSpec &attribute : spec.attributes) {
            PropertyDescription property;
            property.name = QString::fromLatin1(attribute.name);
            property.type = attribute.type;
            property.isTransient = attribute.isTransient;
            property.isIndexed = attribute.isIndexed;
            addProperty(std::move(property));
        }
        for (const RelationshipSpec &relationship : spec.relationships) {
            PropertyDescription property;
            property.name = QString::fromLatin1(relationship.name);
            property.isRelationship = true;
            property.isToMany = relationship.isToMany;
            property.deleteRule = relationship.deleteRule;
            addProperty(std::move(property));
        }
        for (const RangeIndexSpec &range : spec.rangeIndexes) {
            const PropertyDescription *low = entity.property(QLatin1String(range.low));
            const PropertyDescription *high = entity.property(QLatin1String(range.high));
            const auto isInteger = [](const PropertyDescription *p) {
                return p && p->isAttribute() && !p->isTransient &&
                       p->type == AttributeType::Integer;
            };
            if (!isInteger(low) || !isInteger(high))
                invalid(QStringLiteral("%1: range index %2-%3 needs two stored integers")
                            .arg(name, QLatin1String(range.low), QLatin1String(range.high)));
            entity.m_rangeIndexes.append(EntityDescription::RangeIndex{low, high});
        }
        m_entities.append(&entity);
        m_byName.insert(name, &entity);
    }

    // Then destinations and inverses, which may name later entities.
    for (const EntitySpec &spec : specs) {
        const EntityDescription *entity = m_byName.value(QLatin1String(spec.name));
        for (const RelationshipSpec &relationship : spec.relationships) {
            auto *property = const_cast<PropertyDescription *>(
                entity->property(QLatin1String(relationship.name)));
            property->destination = m_byName.value(QLatin1String(relationship.destination));
            if (!property->destination)
                invalid(QStringLiteral("%1.%2: unknown destination %3")
                            .arg(entity->name(), property->name,
                                 QLatin1String(relationship.destination)));
            if (relationship.inverse) {
                property->inverse =
                    property->destination->property(QLatin1String(relationship.inverse));
                if (!property->inverse || !property->inverse->isRelationship)
                    invalid(QStringLiteral("%1.%2: unknown inverse %3")
                                .arg(entity->name(), property->name,
                                     QLatin1String(relationship.inverse)));
            } else if (relationship.isToMany) {
                invalid(QStringLiteral("%1.%2: a to-many relationship needs an inverse")
                            .arg(entity->name(), property->name));
            }
        }
    }
    for (const PropertyDescription &property : m_propertyStorage) {
        if (property.inverse && property.inverse->inverse != &property)
            invalid(QStringLiteral("%1.%2: inverse %3 does not point back")
                        .arg(property.entity->name(), property.name, property.inverse->name));
    }
}

ManagedObjectModel::~ManagedObjectModel() = default;

const EntityDescription *ManagedObjectModel::entity(int entityID) const {
    return entityID > 0 && entityID <= m_entities.size() ? m_entities[entityID - 1] : nullptr;
}

QList<const EntityDescription *> ManagedObjectModel::rootEntities() const {
    QList<const EntityDescription *> roots;
    for (const EntityDescription *entity : m_entities) {
        if (!entity->parent())
            roots.append(entity);
    }
    return roots;
}

QByteArray ManagedObjectModel::schemaHash() const {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const EntityDescription *entity : m_entities) {
        hash.addData(entity->name().toUtf8());
        hash.addData(entity->parent() ? entity->parent()->name().toUtf8() : QByteArray("-"));
        for (const PropertyDescription *property : entity->properties()) {
            if (property->entity != entity)
                continue;
            hash.addData(QStringLiteral("|%1:%2:%3:%4:%5:%6")
                             .arg(property->name)
                             .arg(int(property->type))
                             .arg(property->isTransient)
                             .arg(property->isIndexed)
                             .arg(property->destination ? property->destination->name() : QString())
                             .arg(property->isToMany)
                             .toUtf8());
        }
        for (const EntityDescription::RangeIndex &range : entity->rangeIndexes())
            hash.addData(
                QStringLiteral("|range:%1:%2").arg(range.low->name, range.high->name).toUtf8());
    }
    return hash.result().toHex();
}

ManagedObject *ManagedObjectModel::makeObject(const EntityDescription *entity,
                                              ManagedObjectContext *context) const {
    for (const EntityDescription *e = entity; e; e = e->parent()) {
        if (auto it = m_factories.find(e); it != m_factories.end())
            return it.value()(entity, context);
    }
    return new ManagedObject(entity, context);
}
