#pragma once

#include <QVariant>
#include <optional>

// How predicates compare two single values (see Predicate::evaluate). Numbers
// and booleans compare by value, integers exactly and mixed with reals as
// reals; a Date compares in time order, and with a number as seconds since
// 2001 (the store keeps dates as such); strings by Unicode code point, after
// folding with the ComparisonOption bits; data bytewise; objects
// (`ManagedObject *`, `KeyValueCoding *`) by identity, without an order;
// other values of one type with that type's own operators. Nil (an invalid or
// null QVariant) equals only nil.
namespace ValueComparison {
bool isNil(const QVariant &value);
// Booleans and the integer types.
bool isInteger(const QVariant &value);
// Those and the unsigned and real types (not dates).
bool isNumber(const QVariant &value);
// <0, 0 or >0; nothing when the two do not order: either is nil, they are
// of different kinds (a string and a number), or distinct objects.
std::optional<int> compare(const QVariant &a, const QVariant &b, int options = 0);
bool equal(const QVariant &a, const QVariant &b, int options = 0);
// A total order for sorting and for @min/@max: nil first, then numbers
// (dates among them), strings, data, objects and other values; within a kind
// as compare() orders them, and what compare() leaves unordered (NaN after
// every number, distinct objects, other values) in a fixed order.
int order(const QVariant &a, const QVariant &b);
// Compares strings by code point, as SQLite compares UTF-8 text.
int compareStrings(const QString &a, const QString &b);
}  // namespace ValueComparison
