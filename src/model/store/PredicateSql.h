#pragma once

#include <QString>
#include <QVariantList>

#include "model/store/Predicate.h"

class EntityDescription;
class PersistentStore;

// A predicate turned into an SQL condition on the rows of an entity's table,
// with its values to bind in order. Parts that SQL cannot express the same way
// as in-memory evaluation (folded comparisons, LIKE, MATCHES, ALL/NONE, nil
// through a relationship, key paths with operators other than @count) are left
// out: `exact` is then false and the caller evaluates the predicate in memory
// on the rows the condition selected.
struct PredicateSql {
    QString condition = QStringLiteral("1");
    QVariantList bindings;
    bool exact = true;

    // The condition refers to the entity's table as `alias`.
    static PredicateSql compile(const Predicate &predicate, const EntityDescription *entity,
                                const PersistentStore &store, const QString &alias);
};
