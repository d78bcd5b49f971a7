#pragma once

#include <QList>

#include "model/store/FetchRequest.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PredicateSql.h"

// Runs one fetch request on a context: the predicate runs as SQL on the
// entity's table as far as it can, the rest in memory; the context's unsaved
// inserts, changes and deletions are merged in when the request asks for
// them; then the results are sorted, cut to the limit and their relationships
// prefetched.
class FetchExecution {
public:
    FetchExecution(ManagedObjectContext *context, const FetchRequest &request);

    QList<ManagedObject *> objects();
    // See ManagedObjectContext::fetchValues().
    QList<FetchedValues> values(const QStringList &keys);
    qint64 count();

    // Loads the faults among `objects` and what each relationship key path
    // reaches from them, as a fetch prefetches for its results: a few
    // queries per relationship for all of them rather than one per object.
    // Failures throw StoreError.
    static void loadWithPrefetching(ManagedObjectContext *context,
                                    const QList<ManagedObject *> &objects,
                                    const QStringList &keyPaths);

private:
    bool sortsInSql() const;
    QString orderBy() const;
    QList<ManagedObject *> pendingCandidates() const;
    bool matches(ManagedObject *object) const;
    void sortInMemory(QList<ManagedObject *> &objects) const;
    static void prefetch(ManagedObjectContext *context, const QList<ManagedObject *> &objects,
                         const QString &keyPath);
    static void prefetchToOne(ManagedObjectContext *context, const QList<ManagedObject *> &owners,
                              const PropertyDescription *relationship);
    static void prefetchToMany(ManagedObjectContext *context, const QList<ManagedObject *> &owners,
                               const PropertyDescription *relationship);

    ManagedObjectContext *m_context;
    const FetchRequest &m_request;
    const EntityDescription *m_entity;
    std::optional<Predicate> m_predicate;
    PredicateSql m_sql;
    QList<ManagedObject *> m_pending;
};
