#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>
#include <memory>
#include <vector>

#include "model/store/KeyValueCoding.h"
#include "model/store/ObjectID.h"
#include "model/store/SlotValues.h"

class ManagedObjectContext;

// An object of the store, reached by attribute name. It belongs to one
// context, which owns it; the context keeps one object per stored row.
//
// A fetched object may be a fault: only its ID is known until something reads
// a value, which loads its row. To-many relationships load on first use.
// Setting a relationship keeps its inverse in step, in memory, at once.
//
// Attribute values are QVariants of the attribute's type (see AttributeType);
// setting a value of another type converts it, and setting an invalid QVariant
// clears the value. Reading an unknown key throws std::invalid_argument.
class ManagedObject : public KeyValueCoding {
public:
    ~ManagedObject() override;
    ManagedObject(const ManagedObject &) = delete;
    ManagedObject &operator=(const ManagedObject &) = delete;

    // The owning context; nullptr once the object's deletion has been saved.
    ManagedObjectContext *managedObjectContext() const { return m_context; }
    const EntityDescription *entity() const;
    const QString &entityName() const { return entity()->name(); }
    bool isKindOfEntity(const QString &entityName) const { return entity()->isKindOf(entityName); }
    ObjectID objectID() const { return m_id; }

    bool isFault() const { return m_state & Fault; }
    bool isInserted() const { return m_state & Inserted; }
    bool isUpdated() const { return m_state & Updated; }
    bool isDeleted() const { return m_state & Deleted; }
    bool hasChanges() const { return m_state & (Inserted | Updated | Deleted); }
    // The keys changed since the object was last saved or fetched.
    QStringList changedKeys() const;

    // KeyValueCoding. To-one relationships give a `ManagedObject *` (no value
    // when empty), to-many ones a `QList<ManagedObject *>`.
    QVariant valueForKey(const QString &key) const override;
    QVariant valueForKeyPath(const QString &keyPath) const {
        return KeyValue::valueForKeyPath(this, keyPath);
    }
    // Attributes and to-one relationships (a `ManagedObject *` or no value).
    void setValue(const QString &key, const QVariant &value);

    ManagedObject *objectForKey(const QString &key) const;
    void setObject(const QString &key, ManagedObject *object);
    QList<ManagedObject *> objectsForKey(const QString &key) const;
    void addObject(const QString &key, ManagedObject *object);
    void removeObject(const QString &key, ManagedObject *object);

    // The same by property, for hot paths that looked the property up once.
    // The value is the object's own, not a copy: the reference lasts until
    // the object next changes, loads or turns into a fault.
    const QVariant &primitiveValue(const PropertyDescription *property) const;
    void setPrimitiveValue(const PropertyDescription *property, const QVariant &value);
    ManagedObject *toOne(const PropertyDescription *relationship) const;
    void setToOne(const PropertyDescription *relationship, ManagedObject *object);
    const QList<ManagedObject *> &toMany(const PropertyDescription *relationship) const;

    const PropertyDescription *propertyNamed(const QString &key) const;

protected:
    ManagedObject(const EntityDescription *entity, ManagedObjectContext *context);

    // Hooks for the behaviour classes.
    virtual void awakeFromInsert() {}
    virtual void awakeFromFetch() {}
    virtual void willSave() {}
    virtual void didTurnIntoFault() {}
    // Called when the object is deleted, before the delete rules clear its
    // relationships: it can still see what it belonged to.
    virtual void prepareForDeletion() {}
    // Called after any property changed in memory (set, cleared, or a
    // relationship's members changed), including by inverse maintenance.
    virtual void didChangeValueForKey(const PropertyDescription &) {}

private:
    friend class ManagedObjectContext;
    friend class ManagedObjectModel;
    friend class FetchExecution;
    friend class SaveTransaction;

    enum State : unsigned {
        Fault = 1,
        Inserted = 2,
        Updated = 4,
        Deleted = 8,
        EntityKnown = 16,  // m_id.entity is the concrete entity
        // Saved as a new object by this context: its to-many sets hold every
        // member without reading the store, as a loaded set does.
        MembersKnown = 32,
    };
    struct ToManyState {
        bool loaded = false;
        QList<ManagedObject *> objects;
    };
    // The state of one to-many relationship the object has used. An object
    // uses a few of its entity's relationships: they are kept in a short
    // list, each where it was made, so a state's members stay where callers
    // hold them while other relationships are used.
    struct ToManyNode {
        int slot;
        ToManyState state;
        std::unique_ptr<ToManyNode> next;
    };

    void fireFault() const;
    void willAccess() const {
        if (m_state & Fault)
            fireFault();
    }
    void willChange(const PropertyDescription *property);
    void markChanged(const PropertyDescription *property);
    ToManyState &toManyState(const PropertyDescription *relationship) const;
    // The relationship's state when the object has used it, else nullptr.
    ToManyState *existingToManyState(const PropertyDescription *relationship) const;
    // Loaded sets of to-many relationships are kept in step with the to-one
    // side; a set that is not loaded yet loads first (without firing the
    // owner), so that it never misses an unsaved change.
    void insertIntoToMany(const PropertyDescription *relationship, ManagedObject *object);
    void removeFromToMany(const PropertyDescription *relationship, ManagedObject *object);
    void setToOneKeepingInverse(const PropertyDescription *relationship, ManagedObject *object);
    void turnIntoFault();
    const PropertyDescription *requireProperty(const QString &key) const;

    ManagedObjectContext *m_context;
    ObjectID m_id;
    unsigned m_state = 0;
    // The value of each slot: attribute values, and for to-one relationships
    // a `ManagedObject *` (or no value). No slots while the object is a fault.
    mutable SlotValues m_values;
    // The to-many relationships used so far, most recently first used first.
    mutable std::unique_ptr<ToManyNode> m_toMany;
    // Slots changed since the last save.
    std::vector<bool> m_changed;
};

Q_DECLARE_METATYPE(ManagedObject *)
Q_DECLARE_METATYPE(QList<ManagedObject *>)
