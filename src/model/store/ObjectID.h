#pragma once

#include <QHashFunctions>
#include <QMetaType>
#include <QString>

#include "model/store/EntityDescription.h"

// The identity of a stored object: its entity family (one table) and its row
// number there. IDs are the same in every context on one store, so they are
// what worker threads hand back to the main thread. `entity` is the concrete
// entity when it is known, else the family's root.
struct ObjectID {
    const EntityDescription *entity = nullptr;
    qint64 primaryKey = 0;

    bool isValid() const { return entity && primaryKey > 0; }
    const EntityDescription *family() const { return entity ? entity->root() : nullptr; }
    // "x-merovan-object:///Entity/123", for logs and diagnostics.
    QString uriRepresentation() const {
        return QStringLiteral("x-merovan-object:///%1/%2")
            .arg(entity ? entity->name() : QStringLiteral("?"))
            .arg(primaryKey);
    }

    bool operator==(const ObjectID &other) const {
        return primaryKey == other.primaryKey && family() == other.family();
    }
};

inline size_t qHash(const ObjectID &id, size_t seed = 0) {
    return qHashMulti(seed, id.family(), id.primaryKey);
}

Q_DECLARE_METATYPE(ObjectID)
