#include "model/foundation/PropertyList.h"

#include <plist/plist.h>

#include <QHash>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "model/foundation/BinaryListShortcut.h"
#include "model/foundation/Date.h"
#include "model/foundation/PropertyListGuard.h"

namespace PropertyList {
namespace {

struct NodeFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using NodePtr = std::unique_ptr<void, NodeFree>;
struct MemoryFree {
    void operator()(char *memory) const { std::free(memory); }
};
using TextPtr = std::unique_ptr<char, MemoryFree>;

constexpr char kBinaryMagic[] = "bplist00";

[[noreturn]] void fail(const QString &message) {
    throw Error(message.toStdString());
}

[[noreturn]] void failNesting() {
    throw Error("property list is nested too deeply");
}

// Dates as libplist makes them: whole seconds from 2001 that fit in 32 bits,
// and microseconds that are never negative (so a date before 2001 with a
// fraction has the second before it).
struct DateParts {
    int32_t seconds = 0;
    int32_t microseconds = 0;
};

DateParts partsOf(double seconds) {
    constexpr double kEarliest = std::numeric_limits<int32_t>::min();
    constexpr double kLatest = std::numeric_limits<int32_t>::max();
    double whole = std::floor(seconds);
    double micro = std::round((seconds - whole) * 1e6);
    if (micro >= 1e6) {
        whole += 1;
        micro = 0;
    }
    // (Comparisons with NaN are false, so it is outside the range too.)
    if (!(whole >= kEarliest && whole <= kLatest))
        fail(QStringLiteral("the date %1 is outside the range a property list can hold (%2 to %3)")
                 .arg(Date(seconds).description(), Date(kEarliest).description(),
                      Date(kLatest).description()));
    return {int32_t(whole), int32_t(micro)};
}

// Strings reach libplist as UTF-8 ending in a NUL, so they cannot hold U+0000
// or a lone surrogate; XML 1.0 carries tab, line feed, carriage return and the
// characters from U+0020 up but for U+FFFE and U+FFFF.
void checkText(const QString &text, Format format) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            ++i;
            continue;
        }
        const auto code = [c] { return QString::number(c, 16).toUpper().rightJustified(4, u'0'); };
        if (c == 0 || QChar::isSurrogate(c))
            fail(QStringLiteral("a property list cannot hold a string with the character U+") +
                 code());
        const bool xmlCarries =
            c >= 0x20 ? c != 0xFFFE && c != 0xFFFF : c == u'\t' || c == u'\n' || c == u'\r';
        if (format == Format::Xml && !xmlCarries)
            fail(QStringLiteral("an XML property list cannot hold a string with the character U+") +
                 code());
    }
}

// libplist writes UIDs in 32 bits.
UID checkedUid(quint64 value) {
    if (value > std::numeric_limits<uint32_t>::max())
        fail(QStringLiteral("a property list cannot hold the UID %1, which does not fit in 32 bits")
                 .arg(value));
    return UID{value};
}

// Reading

QVariant integerOf(plist_t node) {
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    if (value <= uint64_t(std::numeric_limits<qint64>::max()))
        return qint64(value);
    // libplist gives both negative and large unsigned integers as the same
    // 64 bits; only the integers plist_new_uint makes are signed ones.
    const NodePtr signedInteger(plist_new_uint(value));
    if (plist_compare_node_value(node, signedInteger.get()))
        return qint64(value);
    return quint64(value);
}

// libplist hands dates out as 32-bit seconds and a fraction without sign; the
// binary form of the date alone holds it exactly: a big-endian double after
// the header and the marker 0x33.
Date dateOf(plist_t node) {
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    const std::unique_ptr<char, void (*)(char *)> owner(bytes, plist_to_bin_free);
    constexpr uint32_t kMarker = sizeof(kBinaryMagic) - 1;
    if (!bytes || length < kMarker + 1 + sizeof(double) || uchar(bytes[kMarker]) != 0x33)
        fail(QStringLiteral("property list holds a date that libplist cannot give back"));
    const double seconds = qFromBigEndian<double>(bytes + kMarker + 1);
    partsOf(seconds);  // what cannot be written is not read either
    return Date(seconds);
}

QVariant toVariant(plist_t node, int depth, Format format);

QVariant dictionaryOf(plist_t node, int depth, Format format) {
    // XML writes a UID as a dictionary holding the integer under "CF$UID".
    if (const plist_t uid = plist_dict_get_item(node, "CF$UID");
        format == Format::Xml && uid && plist_dict_get_size(node) == 1 &&
        plist_get_node_type(uid) == PLIST_UINT) {
        uint64_t value = 0;
        plist_get_uint_val(uid, &value);
        return QVariant::fromValue(checkedUid(value));
    }
    QVariantMap map;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, void (*)(void *)> owner(iterator, std::free);
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator, &key, &value);
        const TextPtr keyOwner(key);
        if (!value)
            return map;
        map.insert(QString::fromUtf8(key ? key : ""), toVariant(value, depth + 1, format));
    }
}

QVariant toVariant(plist_t node, int depth, Format format) {
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return bool(value);
        }
        case PLIST_UINT:
            return integerOf(node);
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return value;
        }
        case PLIST_STRING: {
            // (plist_get_string_val asserts on a string holding U+0000.)
            uint64_t length = 0;
            const char *text = plist_get_string_ptr(node, &length);
            const QString string = QString::fromUtf8(text, text ? qsizetype(length) : 0);
            checkText(string, Format::Binary);
            return string;
        }
        case PLIST_DATA: {
            uint64_t length = 0;
            const char *bytes = plist_get_data_ptr(node, &length);
            return bytes ? QByteArray(bytes, qsizetype(length)) : QByteArray();
        }
        case PLIST_DATE:
            return QVariant::fromValue(dateOf(node));
        case PLIST_UID: {
            uint64_t value = 0;
            plist_get_uid_val(node, &value);
            return QVariant::fromValue(checkedUid(value));
        }
        case PLIST_ARRAY: {
            if (depth >= kMaximumDepth)
                failNesting();
            QVariantList list;
            const uint32_t count = plist_array_get_size(node);
            list.reserve(count);
            for (uint32_t i = 0; i < count; ++i)
                list.append(toVariant(plist_array_get_item(node, i), depth + 1, format));
            return list;
        }
        case PLIST_DICT:
            if (depth >= kMaximumDepth)
                failNesting();
            return dictionaryOf(node, depth, format);
        default:
            fail(QStringLiteral("property list holds a value of unknown type"));
    }
}

// Writing

// plist_new_uint makes signed 64-bit integers only; libplist's XML reader
// makes the unsigned ones above INT64_MAX, which both formats then keep.
plist_t unsignedNode(quint64 value) {
    const QByteArray xml = "<integer>" + QByteArray::number(value) + "</integer>";
    plist_t node = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &node);
    if (!node)
        fail(QStringLiteral("libplist cannot make the integer %1").arg(value));
    return node;
}

plist_t dateNode(double seconds) {
    // XML carries whole seconds: a date is written as the second it falls in.
    return plist_new_date(partsOf(seconds).seconds, 0);
}

plist_t stringNode(const QString &text) {
    checkText(text, Format::Xml);
    return plist_new_string(text.toUtf8().constData());
}

// The libplist tree of a value, for writing XML.
plist_t xmlNode(const QVariant &value, int depth) {
    switch (kindOf(value)) {
        case Kind::Boolean:
            return plist_new_bool(value.toBool());
        case Kind::Integer:
            return plist_new_uint(uint64_t(value.toLongLong()));
        case Kind::UnsignedInteger:
            return unsignedNode(value.toULongLong());
        case Kind::Real:
            return plist_new_real(value.toDouble());
        case Kind::String:
            return stringNode(value.toString());
        case Kind::Data: {
            const QByteArray data = value.toByteArray();
            return plist_new_data(data.constData(), uint64_t(data.size()));
        }
        case Kind::Date:
            return dateNode(dateSecondsOf(value));
        case Kind::UID:
            return plist_new_uid(checkedUid(value.value<UID>().value).value);
        case Kind::Array: {
            if (depth >= kMaximumDepth)
                failNesting();
            NodePtr array(plist_new_array());
            for (const QVariant &item : value.toList())
                plist_array_append_item(array.get(), xmlNode(item, depth + 1));
            return array.release();
        }
        case Kind::Dictionary: {
            if (depth >= kMaximumDepth)
                failNesting();
            NodePtr dictionary(plist_new_dict());
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it) {
                checkText(it.key(), Format::Xml);
                plist_dict_set_item(dictionary.get(), it.key().toUtf8().constData(),
                                    xmlNode(it.value(), depth + 1));
            }
            return dictionary.release();
        }
    }
    fail(QStringLiteral("a property list cannot hold this value"));
}

// Binary lists are written here rather than by libplist, whose writer
// allocates and clears tens of kilobytes for every list however small (more
// than the rest of storing an item's title cost). Objects are numbered
// depth first from the top one; equal scalars are written once, as libplist
// does.
class BinaryListWriter {
public:
    QByteArray write(const QVariant &value) {
        add(value, 0);
        const quint64 count = m_objects.size();
        const int refSize = bytesForNumber(count);
        QByteArray out(kBinaryMagic);
        out.reserve(m_size + 64);
        std::vector<quint64> offsets;
        offsets.reserve(count);
        for (const Object &object : m_objects) {
            offsets.push_back(quint64(out.size()));
            out += object.bytes;
            for (quint64 ref : object.refs)
                appendBigEndian(out, ref, refSize);
        }
        appendTrailer(out, offsets.data(), count, refSize);
        return out;
    }

    // {key: value} written straight, as write() would: the dictionary, the
    // key, then the value unless it equals the key (then written once). The
    // size is worked out first and the bytes written in place into one
    // allocation: appending them one by one cost most of archiving a title.
    static QByteArray writeStringEntry(const QString &key, const QString &value) {
        const bool once = key == value;
        const bool keyAscii = checkedAscii(key);
        const bool valueAscii = once || checkedAscii(value);
        constexpr quint64 dictionaryOffset = sizeof(kBinaryMagic) - 1;
        const quint64 keyOffset = dictionaryOffset + 3;
        const quint64 valueOffset = keyOffset + quint64(stringSize(key, keyAscii));
        const quint64 tableOffset =
            once ? valueOffset : valueOffset + quint64(stringSize(value, valueAscii));
        const int count = once ? 2 : 3;
        const int offsetSize = bytesForNumber(tableOffset);
        QByteArray out(qsizetype(tableOffset) + count * offsetSize + kTrailerSize,
                       Qt::Uninitialized);
        char *bytes = std::copy_n(kBinaryMagic, dictionaryOffset, out.data());
        *bytes++ = char(0xd1);
        *bytes++ = char(1);
        *bytes++ = char(once ? 1 : 2);
        bytes = writeString(bytes, key, keyAscii);
        if (!once)
            bytes = writeString(bytes, value, valueAscii);
        const quint64 offsets[] = {dictionaryOffset, keyOffset, valueOffset};
        writeTrailer(bytes, offsets, quint64(count), offsetSize, 1, tableOffset);
        return out;
    }

private:
    struct Object {
        QByteArray bytes;  // a scalar whole; a container's marker and length
        std::vector<quint64> refs;
        bool scalar = false;
    };
    // Up to this many objects, a scalar written twice is found by a scan of
    // the objects; beyond, through an index of their bytes.
    static constexpr std::size_t kScannedObjects = 32;
    // Six unused bytes, the sizes of offsets and references, the number of
    // objects, the top object and the offset of the offset table.
    static constexpr qsizetype kTrailerSize = 32;

    static int bytesForNumber(quint64 value) {
        return value <= 0xff ? 1 : value <= 0xffff ? 2 : value <= 0xffffffff ? 4 : 8;
    }
    static int log2OfSize(int bytes) {
        return bytes == 1 ? 0 : bytes == 2 ? 1 : bytes == 4 ? 2 : 3;
    }
    // The writers below write at `out`, which has room, and answer the end.
    static char *writeBigEndian(char *out, quint64 value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            *out++ = char((value >> shift) & 0xff);
        return out;
    }
    static char *writeInteger(char *out, quint64 value) {
        const int bytes = bytesForNumber(value);
        *out++ = char(0x10 | log2OfSize(bytes));
        return writeBigEndian(out, value, bytes);
    }
    // A marker with its count: in the marker below 15, else as an integer after it.
    static qsizetype countedSize(quint64 count) {
        return count < 15 ? 1 : 2 + bytesForNumber(count);
    }
    static char *writeCounted(char *out, int marker, quint64 count) {
        if (count < 15) {
            *out++ = char(marker | int(count));
            return out;
        }
        *out++ = char(marker | 0xf);
        return writeInteger(out, count);
    }
    // Whether the text is ASCII, once checkText() has passed it (ASCII text
    // without U+0000 always passes).
    static bool checkedAscii(const QString &text) {
        bool ascii = true;
        bool zero = false;
        for (QChar c : text) {
            ascii &= c.unicode() < 0x80;
            zero |= c.unicode() == 0;
        }
        if (!ascii || zero)
            checkText(text, Format::Binary);
        return ascii;
    }
    static qsizetype stringSize(const QString &text, bool ascii) {
        return countedSize(quint64(text.size())) + text.size() * (ascii ? 1 : 2);
    }
    static char *writeString(char *out, const QString &text, bool ascii) {
        out = writeCounted(out, ascii ? 0x50 : 0x60, quint64(text.size()));
        for (QChar c : text) {
            const char16_t code = c.unicode();
            if (!ascii)
                *out++ = char(code >> 8);
            *out++ = char(code & 0xff);
        }
        return out;
    }
    // The offset table of the objects and the trailer (the top object is the first).
    static void writeTrailer(char *out, const quint64 *offsets, quint64 count, int offsetSize,
                             int refSize, quint64 tableOffset) {
        for (quint64 index = 0; index < count; ++index)
            out = writeBigEndian(out, offsets[index], offsetSize);
        out = std::fill_n(out, 6, '\0');
        *out++ = char(offsetSize);
        *out++ = char(refSize);
        out = writeBigEndian(out, count, 8);
        out = writeBigEndian(out, 0, 8);  // the top object
        writeBigEndian(out, tableOffset, 8);
    }
    // The same writers at the end of `out`, which grows by `size`.
    static char *grow(QByteArray &out, qsizetype size) {
        const qsizetype start = out.size();
        out.resize(start + size);
        return out.data() + start;
    }
    static void appendBigEndian(QByteArray &out, quint64 value, int bytes) {
        writeBigEndian(grow(out, bytes), value, bytes);
    }
    static QByteArray integerBytes(quint64 value) {
        QByteArray out(1 + bytesForNumber(value), Qt::Uninitialized);
        writeInteger(out.data(), value);
        return out;
    }
    static QByteArray counted(int marker, quint64 count) {
        QByteArray out(countedSize(count), Qt::Uninitialized);
        writeCounted(out.data(), marker, count);
        return out;
    }
    static QByteArray doubleBytes(int marker, double value) {
        quint64 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        QByteArray out(1, char(marker));
        appendBigEndian(out, bits, 8);
        return out;
    }
    static QByteArray stringBytes(const QString &text) {
        const bool ascii = checkedAscii(text);
        QByteArray out(stringSize(text, ascii), Qt::Uninitialized);
        writeString(out.data(), text, ascii);
        return out;
    }
    static void appendTrailer(QByteArray &out, const quint64 *offsets, quint64 count, int refSize) {
        const quint64 tableOffset = quint64(out.size());
        const int offsetSize = bytesForNumber(tableOffset);
        writeTrailer(grow(out, qsizetype(count) * offsetSize + kTrailerSize), offsets, count,
                     offsetSize, refSize, tableOffset);
    }
    static QByteArray scalarBytes(const QVariant &value, Kind kind) {
        switch (kind) {
            case Kind::Boolean:
                return QByteArray(1, value.toBool() ? '\x09' : '\x08');
            case Kind::Integer: {
                const qint64 number = value.toLongLong();
                if (number >= 0)
                    return integerBytes(quint64(number));
                QByteArray out(1, '\x13');
                appendBigEndian(out, quint64(number), 8);
                return out;
            }
            case Kind::UnsignedInteger: {
                // Sixteen bytes: what readers take for an unsigned integer.
                QByteArray out(1, '\x14');
                appendBigEndian(out, 0, 8);
                appendBigEndian(out, value.toULongLong(), 8);
                return out;
            }
            case Kind::Real:
                return doubleBytes(0x23, value.toDouble());
            case Kind::String:
                return stringBytes(value.toString());
            case Kind::Data: {
                const QByteArray data = value.toByteArray();
                QByteArray out = counted(0x40, quint64(data.size()));
                out += data;
                return out;
            }
            case Kind::Date: {
                const DateParts parts = partsOf(dateSecondsOf(value));
                return doubleBytes(0x33, double(parts.seconds) + parts.microseconds / 1e6);
            }
            case Kind::UID: {
                const quint64 uid = checkedUid(value.value<UID>().value).value;
                const int bytes = bytesForNumber(uid);
                QByteArray out(1, char(0x80 | (bytes - 1)));
                appendBigEndian(out, uid, bytes);
                return out;
            }
            case Kind::Array:
            case Kind::Dictionary:
                break;
        }
        fail(QStringLiteral("a property list cannot hold this value"));
    }
    // The index of the scalar, written once however often it comes.
    quint64 addScalar(QByteArray bytes) {
        if (m_scalars.isEmpty() && m_objects.size() < kScannedObjects) {
            for (std::size_t index = 0; index < m_objects.size(); ++index) {
                if (m_objects[index].scalar && m_objects[index].bytes == bytes)
                    return index;
            }
        } else {
            if (m_scalars.isEmpty()) {
                for (std::size_t index = 0; index < m_objects.size(); ++index) {
                    if (m_objects[index].scalar && !m_scalars.contains(m_objects[index].bytes))
                        m_scalars.insert(m_objects[index].bytes, index);
                }
            }
            const auto found = m_scalars.constFind(bytes);
            if (found != m_scalars.constEnd())
                return *found;
            m_scalars.insert(bytes, m_objects.size());
        }
        const quint64 index = m_objects.size();
        m_size += bytes.size();
        m_objects.push_back({std::move(bytes), {}, true});
        return index;
    }
    quint64 add(const QVariant &value, int depth) {
        const Kind kind = kindOf(value);
        if (kind != Kind::Array && kind != Kind::Dictionary)
            return addScalar(scalarBytes(value, kind));
        if (depth >= kMaximumDepth)
            failNesting();
        const quint64 index = m_objects.size();
        m_objects.emplace_back();
        std::vector<quint64> refs;
        if (kind == Kind::Array) {
            const QVariantList items = value.toList();
            for (const QVariant &item : items)
                refs.push_back(add(item, depth + 1));
            m_objects[index].bytes = counted(0xa0, quint64(items.size()));
        } else {
            const QVariantMap map = value.toMap();
            std::vector<quint64> values;
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                refs.push_back(addScalar(stringBytes(it.key())));
                values.push_back(add(it.value(), depth + 1));
            }
            refs.insert(refs.end(), values.begin(), values.end());
            m_objects[index].bytes = counted(0xd0, quint64(map.size()));
        }
        m_size += m_objects[index].bytes.size() + 8 * qsizetype(refs.size());
        m_objects[index].refs = std::move(refs);
        return index;
    }

    std::vector<Object> m_objects;
    QHash<QByteArray, quint64> m_scalars;  // built once there are many objects
    qsizetype m_size = 0;                  // of the objects' bytes, with room for refs
};

}  // namespace

QVariant fromData(const QByteArray &data) {
    if (data.isEmpty())
        throw Error("property list is empty");
    if (data.size() > qsizetype(std::numeric_limits<uint32_t>::max()))
        throw Error("property list is too large");
    const bool binary = data.startsWith(kBinaryMagic);
    plist_t root = nullptr;
    if (binary) {
        PropertyListGuard::checkBinary(data);
        // Most archives hold plain text or tags: no need for libplist.
        if (std::optional<QVariant> strings = BinaryListShortcut::read(data))
            return *std::move(strings);
        plist_from_bin(data.constData(), uint32_t(data.size()), &root);
    } else {
        PropertyListGuard::checkXml(data);
        plist_from_xml(data.constData(), uint32_t(data.size()), &root);
    }
    if (!root)
        throw Error(binary ? "binary property list is damaged"
                           : "XML property list holds no value that libplist can read");
    const NodePtr owner(root);
    return toVariant(root, 0, binary ? Format::Binary : Format::Xml);
}

QVariant fromData(const QByteArray &data, QString *error) {
    try {
        return fromData(data);
    } catch (const Error &e) {
        if (error)
            *error = QString::fromUtf8(e.what());
        return QVariant();
    }
}

QByteArray binaryDataOfStringEntry(const QString &key, const QString &value) {
    return BinaryListWriter::writeStringEntry(key, value);
}

QByteArray toData(const QVariant &value, Format format) {
    if (format == Format::Binary)
        return BinaryListWriter().write(value);
    const NodePtr root(xmlNode(value, 0));
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &bytes, &length);
    const std::unique_ptr<char, void (*)(char *)> owner(bytes, plist_to_xml_free);
    if (!bytes)
        throw Error("libplist could not write the property list");
    return QByteArray(bytes, qsizetype(length));
}

Kind kindOf(const QVariant &value) {
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<Date>())
        return Kind::Date;
    if (type == QMetaType::fromType<UID>())
        return Kind::UID;
    switch (value.typeId()) {
        case QMetaType::Bool:
            return Kind::Boolean;
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::Long:
        case QMetaType::Short:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UInt:
        case QMetaType::UShort:
        case QMetaType::UChar:
            return Kind::Integer;
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return value.toULongLong() > quint64(std::numeric_limits<qint64>::max())
                       ? Kind::UnsignedInteger
                       : Kind::Integer;
        case QMetaType::Double:
        case QMetaType::Float:
            return Kind::Real;
        case QMetaType::QString:
            return Kind::String;
        case QMetaType::QByteArray:
            return Kind::Data;
        case QMetaType::QDateTime:
            if (!value.toDateTime().isValid())
                throw Error("a property list cannot hold an invalid date");
            return Kind::Date;
        case QMetaType::QStringList:
        case QMetaType::QVariantList:
            return Kind::Array;
        case QMetaType::QVariantMap:
        case QMetaType::QVariantHash:
            return Kind::Dictionary;
        default:
            break;
    }
    if (!value.isValid())
        throw Error("a property list cannot hold no value");
    throw Error(std::string("a property list cannot hold a value of type ") +
                (type.name() ? type.name() : "?"));
}

double dateSecondsOf(const QVariant &value) {
    const double seconds = value.metaType() == QMetaType::fromType<Date>()
                               ? value.value<Date>().secondsSinceReference()
                               : Date::fromDateTime(value.toDateTime()).secondsSinceReference();
    if (!std::isfinite(seconds))
        throw Error("a property list cannot hold a date that is not finite");
    return seconds;
}

}  // namespace PropertyList
