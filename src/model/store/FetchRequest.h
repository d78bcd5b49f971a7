#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

#include "model/store/Predicate.h"

struct SortDescriptor {
    QString keyPath;
    bool ascending = true;
};

// What to fetch: objects of an entity (sub-entities included unless told
// otherwise) that match a predicate, in an order, up to a limit. Unsaved
// changes of the context are taken into account unless told otherwise.
class FetchRequest {
public:
    explicit FetchRequest(const QString &entityName) : m_entityName(entityName) {}

    const QString &entityName() const { return m_entityName; }

    // No predicate: every object of the entity.
    std::optional<Predicate> predicate() const {
        return m_hasPredicate ? std::optional<Predicate>(m_predicate) : std::nullopt;
    }
    void setPredicate(const Predicate &predicate) {
        m_predicate = predicate;
        m_hasPredicate = true;
    }
    void clearPredicate() {
        m_predicate = Predicate();
        m_hasPredicate = false;
    }

    const QList<SortDescriptor> &sortDescriptors() const { return m_sortDescriptors; }
    void setSortDescriptors(QList<SortDescriptor> descriptors) {
        m_sortDescriptors = std::move(descriptors);
    }

    int fetchLimit() const { return m_fetchLimit; }  // 0: no limit
    void setFetchLimit(int limit) { m_fetchLimit = limit; }

    bool includesSubentities() const { return m_includesSubentities; }
    void setIncludesSubentities(bool value) { m_includesSubentities = value; }

    bool includesPendingChanges() const { return m_includesPendingChanges; }
    void setIncludesPendingChanges(bool value) { m_includesPendingChanges = value; }

    // Faults: only the ids are read; values load when first used.
    bool returnsObjectsAsFaults() const { return m_returnsObjectsAsFaults; }
    void setReturnsObjectsAsFaults(bool value) { m_returnsObjectsAsFaults = value; }

    // Relationships loaded with the results, in as few queries as possible
    // (one per relationship), e.g. {"objectData"} or {"attendees"}.
    const QStringList &relationshipKeyPathsForPrefetching() const { return m_prefetch; }
    void setRelationshipKeyPathsForPrefetching(QStringList keyPaths) {
        m_prefetch = std::move(keyPaths);
    }

private:
    QString m_entityName;
    Predicate m_predicate;
    bool m_hasPredicate = false;
    QList<SortDescriptor> m_sortDescriptors;
    int m_fetchLimit = 0;
    bool m_includesSubentities = true;
    bool m_includesPendingChanges = true;
    bool m_returnsObjectsAsFaults = false;
    QStringList m_prefetch;
};
