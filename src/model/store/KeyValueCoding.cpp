#include "model/store/KeyValueCoding.h"

#include <QStringList>

#include "model/store/ManagedObject.h"
#include "model/store/ValueComparison.h"

KeyValueCoding::~KeyValueCoding() = default;

namespace {

using ValueComparison::isInteger;
using ValueComparison::isNil;

QVariant extreme(const QVariantList &values, int sign) {
    QVariant best;
    for (const QVariant &value : values) {
        if (!isNil(value) && (isNil(best) || ValueComparison::order(value, best) * sign > 0))
            best = value;
    }
    return best;
}

QVariant sum(const QVariantList &values) {
    qint64 integer = 0;
    double real = 0;
    bool integral = true;
    for (const QVariant &value : values) {
        if (isNil(value))
            continue;
        if (integral && isInteger(value)) {
            integer += value.toLongLong();
            continue;
        }
        if (integral)
            real = double(integer);
        integral = false;
        real += value.toDouble();
    }
    return integral ? QVariant(integer) : QVariant(real);
}

QVariant average(const QVariantList &values) {
    double total = 0;
    int count = 0;
    for (const QVariant &value : values) {
        if (!isNil(value)) {
            total += value.toDouble();
            ++count;
        }
    }
    return count ? QVariant(total / count) : QVariant();
}

// The walk along a key path: either one value, or (after a to-many) the list
// of values reached from every member.
struct Position {
    QVariant value;
    bool spread = false;

    QVariantList values() const {
        if (spread || KeyValue::isCollection(value))
            return KeyValue::members(value);
        return isNil(value) ? QVariantList() : QVariantList{value};
    }
};

Position step(const Position &from, const QString &key) {
    if (!from.spread && !KeyValue::isCollection(from.value)) {
        const KeyValueCoding *object = KeyValue::object(from.value);
        return {object ? object->valueForKey(key) : QVariant(), false};
    }
    QVariantList reached;
    for (const QVariant &member : KeyValue::members(from.value)) {
        const KeyValueCoding *object = KeyValue::object(member);
        const QVariant value = object ? object->valueForKey(key) : QVariant();
        if (KeyValue::isCollection(value))
            reached += KeyValue::members(value);
        else
            reached << value;
    }
    return {reached, true};
}

Position walk(Position position, const QStringList &keys);

QVariant applyOperator(const QString &name, const Position &from, const QStringList &rest) {
    QVariantList values = from.values();
    if (!rest.isEmpty()) {
        QVariantList reached;
        for (const QVariant &member : values)
            reached += walk({member, false}, rest).values();
        values = reached;
    }
    if (name == QLatin1String("@count"))
        return qint64(values.size());
    if (name == QLatin1String("@min"))
        return extreme(values, -1);
    if (name == QLatin1String("@max"))
        return extreme(values, 1);
    if (name == QLatin1String("@sum"))
        return sum(values);
    if (name == QLatin1String("@avg"))
        return average(values);
    return {};
}

Position walk(Position position, const QStringList &keys) {
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (keys[i].startsWith(QLatin1Char('@')))
            return {applyOperator(keys[i], position, keys.mid(i + 1)), false};
        position = step(position, keys[i]);
    }
    return position;
}

}  // namespace

namespace KeyValue {

const KeyValueCoding *object(const QVariant &value) {
    if (value.metaType() == QMetaType::fromType<ManagedObject *>())
        return value.value<ManagedObject *>();
    if (value.metaType() == QMetaType::fromType<KeyValueCoding *>())
        return value.value<KeyValueCoding *>();
    return nullptr;
}

QList<const KeyValueCoding *> objects(const QVariant &value) {
    QList<const KeyValueCoding *> result;
    for (const QVariant &member : members(value)) {
        if (const KeyValueCoding *object = KeyValue::object(member))
            result << object;
    }
    return result;
}

bool isCollection(const QVariant &value) {
    const QMetaType type = value.metaType();
    return type == QMetaType::fromType<QList<ManagedObject *>>() ||
           type == QMetaType::fromType<QList<KeyValueCoding *>>() ||
           type == QMetaType::fromType<QVariantList>() ||
           type == QMetaType::fromType<QStringList>();
}

QVariantList members(const QVariant &value) {
    const QMetaType type = value.metaType();
    QVariantList result;
    if (type == QMetaType::fromType<QList<ManagedObject *>>()) {
        for (ManagedObject *object : value.value<QList<ManagedObject *>>())
            result << QVariant::fromValue(object);
    } else if (type == QMetaType::fromType<QList<KeyValueCoding *>>()) {
        for (KeyValueCoding *object : value.value<QList<KeyValueCoding *>>())
            result << QVariant::fromValue(object);
    } else if (type == QMetaType::fromType<QVariantList>() ||
               type == QMetaType::fromType<QStringList>()) {
        result = value.toList();
    }
    return result;
}

QVariant valueForKeyPath(const KeyValueCoding *object, const QString &keyPath) {
    if (!object)
        return {};
    if (!keyPath.contains(QLatin1Char('.')) && !keyPath.startsWith(QLatin1Char('@')))
        return object->valueForKey(keyPath);
    const Position start{QVariant::fromValue(const_cast<KeyValueCoding *>(object)), false};
    return walk(start, keyPath.split(QLatin1Char('.'))).value;
}

}  // namespace KeyValue
