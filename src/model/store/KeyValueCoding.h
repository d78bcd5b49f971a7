#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

// Generic access to an object's values by name, as predicates, sort
// descriptors and the interchange code use it. A value that refers to another
// object holds a `ManagedObject *` (to-one) or a `QList<ManagedObject *>`
// (to-many); objects that are not managed (test doubles, stand-alone values)
// may use `KeyValueCoding *` and `QList<KeyValueCoding *>` instead.
class KeyValueCoding {
public:
    virtual ~KeyValueCoding();
    // The value of an attribute or relationship; no value for an unknown key.
    virtual QVariant valueForKey(const QString &key) const = 0;
};

Q_DECLARE_METATYPE(KeyValueCoding *)
Q_DECLARE_METATYPE(QList<KeyValueCoding *>)

namespace KeyValue {
// The object a value refers to, or nullptr when it refers to none.
const KeyValueCoding *object(const QVariant &value);
// The objects a to-many value refers to (an empty list for anything else).
// For a QVariantList, the members that refer to objects.
QList<const KeyValueCoding *> objects(const QVariant &value);
// True for to-many values (`QList<ManagedObject *>`, `QList<KeyValueCoding *>`)
// and for the lists that key paths and callers build (QVariantList,
// QStringList).
bool isCollection(const QVariant &value);
// The members of a collection, each as a value of its own (an object member
// keeps its pointer type); an empty list for anything else.
QVariantList members(const QVariant &value);

// Follows a dotted key path. A step through a to-many relationship yields the
// list of the values reached from each member (flattened one level), so
// "attendees.email" gives every attendee's address, as a QVariantList that
// keeps a member without a value as no value. A step from no value gives no
// value. The operators "@count" (number of members of the to-many reached so
// far, or 0/1 for a to-one), "@min", "@max", "@sum" and "@avg" may end a path
// ("attendees.@count", "items.price.@sum"); an operator followed by more keys
// applies to the values those keys reach from each member ("items.@sum.price").
// @min and @max skip members without a value and use the store's value
// ordering (ValueComparison::order); @sum and @avg add numbers (an integer sum while
// every member is an integer); @min, @max and @avg of nothing give no value,
// @sum of nothing 0. An unknown operator gives no value.
QVariant valueForKeyPath(const KeyValueCoding *object, const QString &keyPath);
}  // namespace KeyValue
