#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <stdexcept>

// Property lists, XML and binary, as QVariant trees:
//   dictionary  <-> QVariantMap        array  <-> QVariantList
//   string      <-> QString            data   <-> QByteArray
//   integer     <-> qint64 (quint64 above INT64_MAX)
//   real        <-> double             boolean <-> bool
//   date        <-> Date               UID    <-> PropertyListUID
// Archived attribute values, sync data, peer payloads and the property-list
// files of the program all go through these two functions.
namespace PropertyList {

enum class Format { Xml, Binary };

// A UID of a keyed archive (only ever read from, and written back to, lists).
struct UID {
    quint64 value = 0;
    bool operator==(const UID &) const = default;
};

// Raised for data that is not a readable property list, and for values that
// a property list cannot hold; what() says which and why.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads XML or binary (detected from the data). Throws PropertyList::Error.
QVariant fromData(const QByteArray &data);
// As fromData, but returns no value and sets *error instead of throwing.
QVariant fromData(const QByteArray &data, QString *error);
// Throws PropertyList::Error for a value of a type a list cannot hold.
QByteArray toData(const QVariant &value, Format format = Format::Binary);

}  // namespace PropertyList

Q_DECLARE_METATYPE(PropertyList::UID)
