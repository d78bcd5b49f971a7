#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <stdexcept>

// Property lists, XML and binary ("bplist00"), as QVariant trees:
//   dictionary  <-> QVariantMap        array  <-> QVariantList
//   string      <-> QString            data   <-> QByteArray
//   integer     <-> qint64 (quint64 above INT64_MAX)
//   real        <-> double             boolean <-> bool
//   date        <-> Date               UID    <-> PropertyList::UID
// Archived attribute values, sync data, peer payloads and the property-list
// files of the program all go through these functions; libplist reads the
// bytes and writes XML, binary lists are written here.
//
// What a list can hold:
// - Dates lie from 1932-12-13T20:45:52Z to 2069-01-19T03:14:07Z (whole
//   seconds from 2001 that fit in 32 bits). A date outside that range, or one
//   that is not finite, raises Error when writing and when reading.
// - Binary lists keep dates to the microsecond (also before 2001) and every
//   other value exactly. XML lists carry whole seconds: a date is written as
//   the second it falls in.
// - Strings never hold U+0000 or a lone surrogate; XML strings and keys only
//   hold the characters XML 1.0 can carry. UIDs fit in 32 bits. Others raise
//   Error when writing, and a list holding U+0000 or a wider UID when read.
// - XML writes -0.0 as 0.0, and a UID as {"CF$UID" = n}, which XML reads
//   back as a UID.
// Lists read from untrusted bytes never crash the reader: anything that is not
// a well-formed list, that nests deeper than kMaximumDepth, holds a cycle,
// expands to far more than its size, or is XML that declares or refers to
// entities or is not in UTF-8, raises Error.
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

// At most this many containers may nest inside one another; deeper lists are
// refused, when reading and when writing.
constexpr int kMaximumDepth = 512;

// Reads XML or binary (detected from the data). Throws PropertyList::Error.
QVariant fromData(const QByteArray &data);
// As fromData, but returns no value and sets *error instead of throwing.
QVariant fromData(const QByteArray &data, QString *error);
// Throws PropertyList::Error for a value a list cannot hold (no value, a type
// outside the table above, a date outside the range, a string the format
// cannot carry, too deep a nesting).
QByteArray toData(const QVariant &value, Format format = Format::Binary);
// The bytes toData() writes for the binary list of a dictionary that holds
// the one string `value` under `key`, made without building the dictionary
// (plain text is archived so). Throws Error for a string a list cannot hold.
QByteArray binaryDataOfStringEntry(const QString &key, const QString &value);

// What a value is written as. Signed integer types and unsigned ones up to
// INT64_MAX are Integer, larger unsigned ones UnsignedInteger; string lists
// are arrays, hashes and maps dictionaries, QDateTime a date.
enum class Kind {
    Boolean,
    Integer,
    UnsignedInteger,
    Real,
    String,
    Data,
    Date,
    UID,
    Array,
    Dictionary
};
// Throws Error for a value a list cannot hold.
Kind kindOf(const QVariant &value);
// The date of a Date or QDateTime value; throws Error when it is not finite.
double dateSecondsOf(const QVariant &value);

}  // namespace PropertyList

Q_DECLARE_METATYPE(PropertyList::UID)
