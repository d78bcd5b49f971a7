#pragma once

#include <QPointer>

#include "model/store/ManagedObject.h"
#include "model/store/ManagedObjectContext.h"

// A weak reference to a managed object, for work that comes back to an
// object later (timers, downloads): it holds the object's context and id,
// never the pointer, and gives the object back only while it still exists
// and is not deleted. Main thread only, like the context.
template <class T>
class ObjectRef {
public:
    ObjectRef() = default;
    explicit ObjectRef(const ManagedObject *object)
        : m_context(object ? object->managedObjectContext() : nullptr),
          m_id(object ? object->objectID() : ObjectID()) {}

    // The object, or nullptr when its context is gone, its row was deleted
    // (saved or not), or it is not a `T`.
    T *get() const {
        if (!m_context || !m_id.isValid())
            return nullptr;
        ManagedObject *object = m_context->existingObjectWithID(m_id);
        if (!object || object->isDeleted())
            return nullptr;
        return dynamic_cast<T *>(object);
    }

private:
    QPointer<ManagedObjectContext> m_context;
    ObjectID m_id;
};
