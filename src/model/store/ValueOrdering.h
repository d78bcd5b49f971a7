#pragma once

#include <QVariant>

// The one ordering of stored values, shared by sorting and by predicates:
// no value first; numbers and booleans by value (integers and reals mixed);
// dates in time order, and against a number as seconds since 2001; strings by
// code point; data bytewise; objects by identity. Returns <0, 0 or >0.
// Values of kinds that do not compare (a string and a number) order by kind.
int compareValues(const QVariant &a, const QVariant &b);
