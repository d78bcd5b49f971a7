#pragma once

#include <QList>
#include <QVariantMap>

#include "model/store/KeyValueCoding.h"

// A map-backed object for predicate and key-path tests: plain values, to-one
// links (`KeyValueCoding *`) and to-many links (`QList<KeyValueCoding *>`).
class FakeObject : public KeyValueCoding {
public:
    FakeObject() = default;
    explicit FakeObject(const QVariantMap &values) : m_values(values) {}

    QVariant valueForKey(const QString &key) const override { return m_values.value(key); }

    FakeObject &set(const QString &key, const QVariant &value) {
        m_values.insert(key, value);
        return *this;
    }
    FakeObject &link(const QString &key, FakeObject *object) {
        return set(key, QVariant::fromValue<KeyValueCoding *>(object));
    }
    FakeObject &linkMany(const QString &key, const QList<FakeObject *> &objects) {
        QList<KeyValueCoding *> list(objects.cbegin(), objects.cend());
        return set(key, QVariant::fromValue(list));
    }

private:
    QVariantMap m_values;
};

inline QVariant ref(FakeObject *object) {
    return QVariant::fromValue<KeyValueCoding *>(object);
}
