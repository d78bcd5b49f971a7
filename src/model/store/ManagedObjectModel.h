#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <deque>
#include <functional>
#include <memory>

#include "model/store/EntityDescription.h"

class ManagedObject;
class ManagedObjectContext;

// The schema: entities with their properties, built from a table of entity
// specifications. Relationship destinations and inverses are named and
// resolved when the model is built; a model that does not resolve throws
// std::logic_error.
class ManagedObjectModel {
public:
    struct AttributeSpec {
        const char *name;
        AttributeType type;
        bool isTransient = false;
        bool isIndexed = false;
    };
    struct RelationshipSpec {
        const char *name;
        const char *destination;
        const char *inverse;  // nullptr: no inverse (to-one only)
        bool isToMany = false;
        DeleteRule deleteRule = DeleteRule::Nullify;
    };
    // Makes the in-memory object of an entity (the behaviour class).
    using ObjectFactory =
        std::function<ManagedObject *(const EntityDescription *, ManagedObjectContext *)>;
    // Two integer attributes that bound a range (a first and a last day).
    struct RangeIndexSpec {
        const char *low;
        const char *high;
    };
    struct EntitySpec {
        const char *name;
        const char *parent;  // nullptr for a root entity
        bool isAbstract = false;
        std::vector<AttributeSpec> attributes;
        std::vector<RelationshipSpec> relationships;
        ObjectFactory factory;  // empty: inherit the parent's, or plain ManagedObject
        std::vector<RangeIndexSpec> rangeIndexes;  // attributes of this entity or a parent
    };

    ManagedObjectModel(QString versionIdentifier, const std::vector<EntitySpec> &specs);
    ~ManagedObjectModel();
    ManagedObjectModel(const ManagedObjectModel &) = delete;
    ManagedObjectModel &operator=(const ManagedObjectModel &) = delete;

    const QString &versionIdentifier() const { return m_version; }
    const EntityDescription *entity(const QString &name) const { return m_byName.value(name); }
    const EntityDescription *entity(int entityID) const;
    const QList<const EntityDescription *> &entities() const { return m_entities; }
    QList<const EntityDescription *> rootEntities() const;
    // A digest of everything that shapes the stored tables.
    QByteArray schemaHash() const;

    ManagedObject *makeObject(const EntityDescription *entity, ManagedObjectContext *context) const;

private:
    QString m_version;
    std::deque<EntityDescription> m_storage;
    std::deque<PropertyDescription> m_propertyStorage;
    QList<const EntityDescription *> m_entities;
    QHash<QString, const EntityDescription *> m_byName;
    QHash<const EntityDescription *, ObjectFactory> m_factories;
};
