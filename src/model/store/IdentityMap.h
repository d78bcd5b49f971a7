#pragma once

#include <QHash>
#include <QList>
#include <array>
#include <memory>
#include <vector>

#include "model/store/ObjectID.h"

class ManagedObject;

// The objects of a context by their IDs: one object per row. Keys of a
// family's rows are handed out one after the other, so the objects are kept
// per family in pages of consecutive keys, found by the key itself instead
// of by hashing it; keys far beyond those handed out (or below 1), which only
// a damaged row can name, are kept in a hash.
//
// An ID's family decides where it goes: IDs of one row with a concrete or a
// root entity are the same key. Iteration goes by family in the order the
// families were first used, then by key (hashed keys last, in no order).
class IdentityMap {
public:
    IdentityMap() = default;
    IdentityMap(const IdentityMap &) = delete;
    IdentityMap &operator=(const IdentityMap &) = delete;

    // The object of the ID, or nullptr.
    ManagedObject *value(const ObjectID &id) const;
    // Registers the object under the ID, replacing any other (object not nullptr).
    void insert(const ObjectID &id, ManagedObject *object);
    // Whether the ID had an object.
    bool remove(const ObjectID &id);
    // Forgets every object (without deleting any).
    void clear();
    qsizetype size() const { return m_size; }

    QList<ManagedObject *> values() const;
    // Calls f(ManagedObject *) for every object.
    template <typename F>
    void forEach(F f) const {
        for (const Family &family : m_families) {
            for (const std::unique_ptr<Page> &page : family.pages) {
                if (!page)
                    continue;
                for (ManagedObject *object : page->objects) {
                    if (object)
                        f(object);
                }
            }
            for (ManagedObject *object : family.hashed)
                f(object);
        }
    }

private:
    static constexpr int kPageBits = 10;
    static constexpr qint64 kPageSize = qint64(1) << kPageBits;
    // Keys from 1 up to this go to pages: at most 16,384 page pointers a family.
    static constexpr qint64 kPagedKeys = qint64(1) << 24;

    struct Page {
        std::array<ManagedObject *, kPageSize> objects{};
        int used = 0;
    };
    struct Family {
        const EntityDescription *root = nullptr;
        std::vector<std::unique_ptr<Page>> pages;  // page n: keys n * kPageSize + 0..kPageSize-1
        QHash<qint64, ManagedObject *> hashed;     // keys outside the pages
    };
    static bool isPaged(qint64 key) { return key > 0 && key < kPagedKeys; }
    const Family *familyOf(const EntityDescription *root) const;
    Family &familyToInsert(const EntityDescription *root);

    std::vector<Family> m_families;  // few: one per table
    qsizetype m_size = 0;
};
