#pragma once

#include <QVariant>
#include <cstdint>
#include <vector>

// The values of an object's slots, held only for the slots that were ever
// set. An object sets a few of its entity's properties (most columns of a
// row are NULL), so an empty QVariant for every slot cost more memory than
// the values themselves, all of it allocated and cleared for every new
// object.
//
// A value keeps its place once its slot was set; clearing it stores no value
// there. References to values stay valid until another slot is set for the
// first time, or until reset() or clear().
class SlotValues {
public:
    // `slotCount` slots without values (at most 65,535); earlier values are
    // dropped.
    void reset(std::size_t slotCount);
    // No slots at all (a fault's), with the memory given back.
    void clear();

    std::size_t slotCount() const { return m_slotCount; }
    // The slot's value: no value when it was never set. slot < slotCount().
    const QVariant &value(int slot) const {
        const std::uint16_t position = m_index[std::size_t(slot)];
        return position ? m_values[position - 1u] : s_none;
    }
    // The slot's value, to be assigned; made empty when the slot had none.
    // slot < slotCount().
    QVariant &valueToSet(int slot);

    // The slots that were set, in the order they were first set: the i-th
    // (i < setCount()) is slot setSlot(i) with value setValue(i), which may
    // be empty again. For walking an object's values without asking every
    // slot of its entity.
    std::size_t setCount() const { return m_values.size(); }
    int setSlot(std::size_t i) const { return m_index[m_slotCount + i]; }
    const QVariant &setValue(std::size_t i) const { return m_values[i]; }

private:
    // First room for this many values: what most objects set.
    static constexpr std::size_t kFirstCapacity = 8;
    static const QVariant s_none;

    std::size_t m_slotCount = 0;
    // Per slot: the index of its value in m_values plus one, 0 for none;
    // then the slot of each value in m_values (one allocation for both).
    std::vector<std::uint16_t> m_index;
    std::vector<QVariant> m_values;
};
