#pragma once

#include <QList>
#include <QString>
#include <cstring>
#include <vector>

#include "model/store/PropertyDescription.h"

// One entity of the schema: its parent, sub-entities and properties (its own
// and inherited ones, by slot). Built by ManagedObjectModel, immutable after.
class EntityDescription {
public:
    const QString &name() const { return m_name; }
    int entityID() const { return m_entityID; }  // stored in each row, > 0
    bool isAbstract() const { return m_isAbstract; }
    const EntityDescription *parent() const { return m_parent; }
    // The top of the family; each family is one table.
    const EntityDescription *root() const { return m_root; }
    // Direct sub-entities.
    const QList<const EntityDescription *> &subentities() const { return m_subentities; }
    // This entity and every entity below it.
    const QList<const EntityDescription *> &selfAndDescendants() const { return m_family; }
    bool isKindOf(const EntityDescription *other) const;
    bool isKindOf(const QString &entityName) const;

    // Every property, inherited ones first, indexed by slot.
    const std::vector<const PropertyDescription *> &properties() const { return m_properties; }
    const PropertyDescription *property(const QString &name) const {
        const auto length = std::size_t(name.size());
        if (length >= m_byNameLength.size())
            return nullptr;
        // The names have the same length: their characters are compared
        // directly, without the general comparison QString's equality makes.
        const std::size_t bytes = length * sizeof(QChar);
        for (const PropertyDescription *property : m_byNameLength[length]) {
            if (std::memcmp(property->name.constData(), name.constData(), bytes) == 0)
                return property;
        }
        return nullptr;
    }
    int propertyCount() const { return int(m_properties.size()); }

    // Two integer attributes indexed together as a range, so that the rows
    // whose range overlaps a given one ("low <= b AND high >= a") are found
    // without reading the others. Inherited ones included.
    struct RangeIndex {
        const PropertyDescription *low;
        const PropertyDescription *high;
    };
    const QList<RangeIndex> &rangeIndexes() const { return m_rangeIndexes; }

private:
    friend class ManagedObjectModel;

    QString m_name;
    int m_entityID = 0;
    bool m_isAbstract = false;
    const EntityDescription *m_parent = nullptr;
    const EntityDescription *m_root = this;
    QList<const EntityDescription *> m_subentities;
    QList<const EntityDescription *> m_family;
    std::vector<const PropertyDescription *> m_properties;
    // The properties by the length of their names: finding one compares the
    // few names of its length instead of hashing the name, which every access
    // by key did.
    std::vector<std::vector<const PropertyDescription *>> m_byNameLength;
    QList<RangeIndex> m_rangeIndexes;
};
