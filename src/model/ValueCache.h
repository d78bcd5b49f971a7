#pragma once

#include <QVariant>
#include <utility>
#include <vector>

// The decoded values of an object's attributes (colours, rich text, calendar
// dates, tag lists …), by the attribute's slot, each kept until the
// attribute changes. An object holds a few, so a value is found by a scan
// of their slots: hashing the attribute's name on every read cost more than
// the scan, and the table of a hash is more memory to reach for each object.
// Not thread-safe; one per object.
class ValueCache {
public:
    // The value kept for the slot, or nullptr. The pointer lasts until the
    // next insert(), remove() or clear().
    const QVariant *find(int slot) const {
        for (const auto &[kept, value] : m_values) {
            if (kept == slot)
                return &value;
        }
        return nullptr;
    }
    // Keeps the value for a slot that holds none.
    void insert(int slot, QVariant value);
    // Forgets the slot's value, if any.
    void remove(int slot);
    void clear();

private:
    std::vector<std::pair<int, QVariant>> m_values;
};
