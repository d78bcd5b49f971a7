#include "model/store/SlotValues.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

const QVariant SlotValues::s_none;

void SlotValues::reset(std::size_t slotCount) {
    if (slotCount > std::numeric_limits<std::uint16_t>::max())
        throw std::length_error("an entity has more properties than an object can hold");
    m_slotCount = slotCount;
    m_index.clear();
    m_index.reserve(slotCount + std::min(kFirstCapacity, slotCount));
    m_index.resize(slotCount, 0);
    m_values.clear();
}

void SlotValues::clear() {
    m_slotCount = 0;
    std::vector<std::uint16_t>().swap(m_index);
    std::vector<QVariant>().swap(m_values);
}

QVariant &SlotValues::valueToSet(int slot) {
    if (const std::uint16_t position = m_index[std::size_t(slot)])
        return m_values[position - 1u];
    if (m_values.capacity() == 0)
        m_values.reserve(std::min(kFirstCapacity, m_slotCount));
    m_values.emplace_back();
    m_index.push_back(std::uint16_t(slot));
    m_index[std::size_t(slot)] = std::uint16_t(m_values.size());
    return m_values.back();
}
