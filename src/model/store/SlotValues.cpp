#include "model/store/SlotValues.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

const QVariant SlotValues::s_none;

void SlotValues::reset(std::size_t slotCount) {
    if (slotCount > std::numeric_limits<std::uint16_t>::max())
        throw std::length_error("an entity has more properties than an object can hold");
    m_position.assign(slotCount, 0);
    m_values.clear();
}

void SlotValues::clear() {
    std::vector<std::uint16_t>().swap(m_position);
    std::vector<QVariant>().swap(m_values);
}

QVariant &SlotValues::valueToSet(int slot) {
    std::uint16_t &position = m_position[std::size_t(slot)];
    if (!position) {
        if (m_values.capacity() == 0)
            m_values.reserve(std::min(kFirstCapacity, m_position.size()));
        m_values.emplace_back();
        position = std::uint16_t(m_values.size());
    }
    return m_values[position - 1u];
}
