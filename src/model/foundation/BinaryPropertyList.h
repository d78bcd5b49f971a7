#pragma once

#include <QByteArray>
#include <QVariant>

// The binary property-list format "bplist00": a header, the objects, a table
// of their offsets and a 32-byte trailer giving the sizes of offsets and
// object references, the number of objects, the top object and where the
// table starts.
//
// The reader trusts nothing it has not checked: the trailer's sizes, every
// offset and object reference, every length against the bytes that are
// there, and the graph of containers (no cycles, no nesting deeper than
// PropertyList::kMaximumDepth, no sharing that expands to more values than
// the data has bytes, or a million). The writer stores each distinct scalar
// once and containers as they come.
namespace BinaryPropertyList {

inline constexpr char kMagic[] = "bplist";

// Throws PropertyList::Error, saying what is wrong with the data.
QVariant read(const QByteArray &data);
// Throws PropertyList::Error for a value a property list cannot hold.
QByteArray write(const QVariant &value);

}  // namespace BinaryPropertyList
