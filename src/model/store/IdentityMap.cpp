#include "model/store/IdentityMap.h"

#include <algorithm>

const IdentityMap::Family *IdentityMap::familyOf(const EntityDescription *root) const {
    for (const Family &family : m_families) {
        if (family.root == root)
            return &family;
    }
    return nullptr;
}

IdentityMap::Family &IdentityMap::familyToInsert(const EntityDescription *root) {
    if (const Family *family = familyOf(root))
        return const_cast<Family &>(*family);
    m_families.emplace_back();
    m_families.back().root = root;
    return m_families.back();
}

ManagedObject *IdentityMap::value(const ObjectID &id) const {
    const Family *family = familyOf(id.family());
    if (!family)
        return nullptr;
    if (!isPaged(id.primaryKey))
        return family->hashed.value(id.primaryKey);
    const auto page = std::size_t(id.primaryKey >> kPageBits);
    if (page >= family->pages.size() || !family->pages[page])
        return nullptr;
    return family->pages[page]->objects[std::size_t(id.primaryKey & (kPageSize - 1))];
}

void IdentityMap::insert(const ObjectID &id, ManagedObject *object) {
    Family &family = familyToInsert(id.family());
    if (!isPaged(id.primaryKey)) {
        const qsizetype before = family.hashed.size();
        family.hashed.insert(id.primaryKey, object);
        m_size += family.hashed.size() - before;
        return;
    }
    const auto page = std::size_t(id.primaryKey >> kPageBits);
    if (page >= family.pages.size())
        family.pages.resize(std::max(
            page + 1, std::min(family.pages.size() * 2, std::size_t(kPagedKeys >> kPageBits))));
    std::unique_ptr<Page> &paged = family.pages[page];
    if (!paged)
        paged = std::make_unique<Page>();
    ManagedObject *&entry = paged->objects[std::size_t(id.primaryKey & (kPageSize - 1))];
    if (!entry) {
        ++paged->used;
        ++m_size;
    }
    entry = object;
}

bool IdentityMap::remove(const ObjectID &id) {
    Family *family = const_cast<Family *>(familyOf(id.family()));
    if (!family)
        return false;
    if (!isPaged(id.primaryKey)) {
        if (!family->hashed.remove(id.primaryKey))
            return false;
        --m_size;
        return true;
    }
    const auto page = std::size_t(id.primaryKey >> kPageBits);
    if (page >= family->pages.size() || !family->pages[page])
        return false;
    std::unique_ptr<Page> &paged = family->pages[page];
    ManagedObject *&entry = paged->objects[std::size_t(id.primaryKey & (kPageSize - 1))];
    if (!entry)
        return false;
    entry = nullptr;
    --m_size;
    if (--paged->used == 0)
        paged.reset();
    return true;
}

void IdentityMap::clear() {
    m_families.clear();
    m_size = 0;
}

QList<ManagedObject *> IdentityMap::values() const {
    QList<ManagedObject *> objects;
    objects.reserve(m_size);
    forEach([&objects](ManagedObject *object) { objects.append(object); });
    return objects;
}
