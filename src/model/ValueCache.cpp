#include "model/ValueCache.h"

#include <algorithm>

namespace {
// Room made at the first value: an item keeps about this many (its dates,
// texts and tags), so the list is not grown one step at a time.
constexpr std::size_t kValueCacheFirstCapacity = 8;
}  // namespace

void ValueCache::insert(int slot, QVariant value) {
    if (m_values.capacity() == 0)
        m_values.reserve(kValueCacheFirstCapacity);
    m_values.emplace_back(slot, std::move(value));
}

void ValueCache::remove(int slot) {
    const auto found = std::find_if(m_values.begin(), m_values.end(),
                                    [slot](const auto &kept) { return kept.first == slot; });
    if (found == m_values.end())
        return;
    if (found + 1 != m_values.end())
        *found = std::move(m_values.back());
    m_values.pop_back();
}

void ValueCache::clear() {
    m_values.clear();
    m_values.shrink_to_fit();
}
