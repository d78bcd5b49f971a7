#pragma once

#include <QString>

class EntityDescription;

// The stored kinds of attribute values. In memory an attribute's value is a
// QVariant of: QString (String), qint64 (Integer), bool (Boolean), double
// (Double), Date (Date) or QByteArray (Binary); no value is an invalid QVariant.
enum class AttributeType { String, Integer, Boolean, Double, Date, Binary };

enum class DeleteRule {
    Nullify,  // remove the deleted object from the destinations' inverse
    Cascade,  // delete the destinations too
};

// One attribute or relationship of an entity. Properties are numbered per
// entity (slot); a sub-entity keeps its parent's properties in the same
// slots, so that a slot means the same property for an entity family.
struct PropertyDescription {
    QString name;
    int slot = -1;
    const EntityDescription *entity = nullptr;  // the entity that declares it

    // Attributes.
    bool isRelationship = false;
    AttributeType type = AttributeType::String;
    bool isTransient = false;  // kept in memory only, never stored
    bool isIndexed = false;

    // Relationships.
    const EntityDescription *destination = nullptr;
    const PropertyDescription *inverse = nullptr;
    bool isToMany = false;
    DeleteRule deleteRule = DeleteRule::Nullify;

    bool isAttribute() const { return !isRelationship; }
    bool isToOne() const { return isRelationship && !isToMany; }
    bool isManyToMany() const { return isToMany && inverse && inverse->isToMany; }
};
