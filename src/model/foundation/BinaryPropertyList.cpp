#include "model/foundation/BinaryPropertyList.h"

#include <QHash>
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include "model/foundation/Date.h"
#include "model/foundation/Format.h"
#include "model/foundation/PropertyList.h"

namespace BinaryPropertyList {
namespace {

using PropertyList::Error;

constexpr quint64 kHeaderSize = 8;
constexpr quint64 kTrailerSize = 32;

// Object types, the high nibble of an object's marker byte.
enum Type : int {
    kSimple = 0x0,  // 0x08 false, 0x09 true
    kInteger = 0x1,
    kReal = 0x2,
    kDate = 0x3,
    kData = 0x4,
    kAsciiString = 0x5,
    kUtf16String = 0x6,
    kUID = 0x8,
    kArray = 0xA,
    kSet = 0xC,
    kDictionary = 0xD,
};
constexpr int kFalse = 0x08;
constexpr int kTrue = 0x09;
// The low nibble that says "the length follows as an integer object".
constexpr int kLongLength = 0xF;

[[noreturn]] void fail(const QString &reason) {
    throw Error(("binary property list " + reason).toStdString());
}

quint64 bigEndian(const uchar *bytes, int size) {
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

// The fewest bytes (1 to 8) that hold `value`.
int bytesFor(quint64 value) {
    int size = 1;
    while (size < 8 && (value >> (8 * size)) != 0)
        ++size;
    return size;
}

void appendBigEndian(QByteArray &out, quint64 value, int size) {
    for (int i = size - 1; i >= 0; --i)
        out.append(char((value >> (8 * i)) & 0xFF));
}

// --- Reading ---------------------------------------------------------------

class Reader {
public:
    explicit Reader(const QByteArray &data)
        : m_data(reinterpret_cast<const uchar *>(data.constData())), m_size(quint64(data.size())) {}

    QVariant read() {
        readTrailer();
        m_decoded.resize(m_count);
        m_expanded.assign(m_count, 0);
        m_onPath.assign(m_count, false);
        m_expansionLimit = std::max<quint64>(m_size, 1 << 20);
        return decode(m_top, 0);
    }

private:
    // Where an object's contents start, after its marker and length.
    struct Object {
        int type = 0;
        int info = 0;        // the marker's low nibble
        quint64 length = 0;  // elements, bytes or UTF-16 units
        quint64 start = 0;
    };

    void readTrailer() {
        if (m_size < kHeaderSize + 1 + 1 + kTrailerSize)
            fail(QStringLiteral("is too short"));
        if (std::string_view(reinterpret_cast<const char *>(m_data), kHeaderSize) != "bplist00")
            fail(format("has the unsupported version \"%@\"",
                        QString::fromLatin1(reinterpret_cast<const char *>(m_data), kHeaderSize)));
        const uchar *trailer = m_data + m_size - kTrailerSize;
        m_offsetSize = trailer[6];
        m_refSize = trailer[7];
        m_count = bigEndian(trailer + 8, 8);
        m_top = bigEndian(trailer + 16, 8);
        m_tableOffset = bigEndian(trailer + 24, 8);
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
            fail(format("has offsets of %d bytes and references of %d bytes", m_offsetSize,
                        m_refSize));
        if (m_count == 0)
            fail(QStringLiteral("holds no objects"));
        if (m_top >= m_count)
            fail(format("names object %lu of %lu as its top object", m_top, m_count));
        const quint64 tableEnd = m_size - kTrailerSize;
        if (m_tableOffset <= kHeaderSize || m_tableOffset > tableEnd ||
            m_count > (tableEnd - m_tableOffset) / quint64(m_offsetSize))
            fail(format("has an offset table of %lu entries at %lu that does not fit in %lu bytes",
                        m_count, m_tableOffset, m_size));
    }

    Object objectAt(quint64 index) const {
        const quint64 offset =
            bigEndian(m_data + m_tableOffset + index * m_offsetSize, m_offsetSize);
        if (offset < kHeaderSize || offset >= m_tableOffset)
            fail(format("object %lu lies at %lu, outside the objects", index, offset));
        Object object;
        object.type = m_data[offset] >> 4;
        object.info = m_data[offset] & 0xF;
        object.length = quint64(object.info);
        object.start = offset + 1;
        quint64 unit = 0;  // bytes per element of a counted object
        switch (object.type) {
            case kSimple:
                if (object.info != kFalse && object.info != kTrue)
                    fail(format("object %lu has the unsupported marker 0x%02X", index,
                                m_data[offset]));
                return object;
            case kInteger:
                if (object.info > 4)
                    fail(format("integer object %lu has %lu bytes", index,
                                quint64(1) << object.info));
                object.length = quint64(1) << object.info;
                break;
            case kReal:
                if (object.info != 2 && object.info != 3)
                    fail(format("real object %lu has %lu bytes", index, quint64(1) << object.info));
                object.length = quint64(1) << object.info;
                break;
            case kDate:
                if (object.info != 3)
                    fail(format("date object %lu is not 8 bytes long", index));
                object.length = 8;
                break;
            case kUID:
                if (object.info > 7)
                    fail(format("UID object %lu has %d bytes", index, object.info + 1));
                object.length = quint64(object.info) + 1;
                break;
            case kData:
            case kAsciiString:
                unit = 1;
                break;
            case kUtf16String:
                unit = 2;
                break;
            case kArray:
            case kSet:
                unit = m_refSize;
                break;
            case kDictionary:
                unit = 2 * quint64(m_refSize);
                break;
            default:
                fail(format("object %lu has the unknown type 0x%X", index, object.type));
        }
        if (unit != 0 && object.info == kLongLength)
            readLongLength(index, object);
        const quint64 available = m_tableOffset - object.start;
        if (object.length > (unit ? available / unit : available))
            fail(format("object %lu runs past the end of the objects", index));
        return object;
    }

    // A length of 15 or more follows the marker as an integer object of 1, 2,
    // 4 or 8 bytes.
    void readLongLength(quint64 index, Object &object) const {
        const quint64 position = object.start;
        const int marker = position < m_tableOffset ? m_data[position] : 0;
        const int size = 1 << (marker & 0xF);
        if ((marker >> 4) != kInteger || (marker & 0xF) > 3 ||
            quint64(size) >= m_tableOffset - position)
            fail(format("object %lu has a malformed length", index));
        object.length = bigEndian(m_data + position + 1, size);
        object.start = position + 1 + quint64(size);
    }

    quint64 reference(const Object &object, quint64 position) const {
        const quint64 target = bigEndian(m_data + object.start + position * m_refSize, m_refSize);
        if (target >= m_count)
            fail(format("refers to object %lu of %lu", target, m_count));
        return target;
    }

    QVariant decode(quint64 index, int depth) {
        if (m_expanded[index] != 0)
            return m_decoded[index];
        if (m_onPath[index])
            fail(format("has a cycle through object %lu", index));
        const Object object = objectAt(index);
        quint64 expanded = 1;
        QVariant value;
        if (object.type == kArray || object.type == kSet || object.type == kDictionary) {
            if (depth >= PropertyList::kMaximumDepth)
                fail(QStringLiteral("is nested too deeply"));
            m_onPath[index] = true;
            const auto child = [&](quint64 position) {
                const quint64 target = reference(object, position);
                QVariant decoded = decode(target, depth + 1);
                expanded += m_expanded[target];
                if (expanded > m_expansionLimit)
                    fail(format("expands to more than %lu values", m_expansionLimit));
                return decoded;
            };
            if (object.type == kDictionary) {
                QVariantMap map;
                for (quint64 i = 0; i < object.length; ++i) {
                    const QVariant key = child(i);
                    if (key.typeId() != QMetaType::QString)
                        fail(format("has a dictionary key that is not a string (object %lu)",
                                    reference(object, i)));
                    map.insert(key.toString(), child(object.length + i));
                }
                value = map;
            } else {
                QVariantList list;
                list.reserve(qsizetype(object.length));
                for (quint64 i = 0; i < object.length; ++i)
                    list.append(child(i));
                value = list;
            }
            m_onPath[index] = false;
        } else {
            value = scalar(index, object);
        }
        m_decoded[index] = value;
        m_expanded[index] = expanded;
        return value;
    }

    QVariant scalar(quint64 index, const Object &object) const {
        const uchar *bytes = m_data + object.start;
        const int size = int(std::min<quint64>(object.length, 8));
        switch (object.type) {
            case kSimple:
                return object.info == kTrue;
            case kInteger:
                return integer(index, object);
            case kReal:
                return size == 4 ? double(std::bit_cast<float>(quint32(bigEndian(bytes, 4))))
                                 : std::bit_cast<double>(bigEndian(bytes, 8));
            case kDate: {
                const double seconds = std::bit_cast<double>(bigEndian(bytes, 8));
                if (!std::isfinite(seconds))
                    fail(format("date object %lu is not a finite number", index));
                return QVariant::fromValue(Date(seconds));
            }
            case kUID:
                return QVariant::fromValue(PropertyList::UID{bigEndian(bytes, size)});
            case kData:
                return QByteArray(reinterpret_cast<const char *>(bytes), qsizetype(object.length));
            case kAsciiString:
                return QString::fromLatin1(reinterpret_cast<const char *>(bytes),
                                           qsizetype(object.length));
            default: {  // kUtf16String
                QString text(qsizetype(object.length), Qt::Uninitialized);
                for (quint64 i = 0; i < object.length; ++i)
                    text[qsizetype(i)] = QChar(char16_t(bigEndian(bytes + 2 * i, 2)));
                return text;
            }
        }
    }

    // 1, 2 and 4 bytes are unsigned, 8 bytes signed; 16 bytes are a signed
    // 128-bit number, read when it fits in 64 bits (signed or unsigned).
    QVariant integer(quint64 index, const Object &object) const {
        const uchar *bytes = m_data + object.start;
        if (object.length < 8)
            return qint64(bigEndian(bytes, int(object.length)));
        const quint64 low = bigEndian(bytes + object.length - 8, 8);
        const quint64 high = object.length == 16 ? bigEndian(bytes, 8) : 0;
        const bool negative = qint64(low) < 0;
        if (object.length == 8 || (high == ~quint64(0) && negative) || (high == 0 && !negative))
            return qint64(low);
        if (high == 0)
            return low;
        fail(format("integer object %lu does not fit in 64 bits", index));
    }

    const uchar *m_data;
    quint64 m_size;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_count = 0;
    quint64 m_top = 0;
    quint64 m_tableOffset = 0;
    quint64 m_expansionLimit = 0;
    std::vector<QVariant> m_decoded;
    std::vector<quint64> m_expanded;  // values below an object, itself included; 0 = not read
    std::vector<bool> m_onPath;
};

// --- Writing ---------------------------------------------------------------

class Writer {
public:
    QByteArray write(const QVariant &value) {
        add(value, 0);
        const quint64 count = m_objects.size();
        const int refSize = bytesFor(count - 1);
        QByteArray out(BinaryPropertyList::kMagic);
        out.append("00");
        std::vector<quint64> offsets;
        offsets.reserve(count);
        for (const Object &object : m_objects) {
            offsets.push_back(quint64(out.size()));
            out.append(object.head);
            for (quint64 reference : object.references)
                appendBigEndian(out, reference, refSize);
        }
        const quint64 tableOffset = quint64(out.size());
        const int offsetSize = bytesFor(offsets.back());
        for (quint64 offset : offsets)
            appendBigEndian(out, offset, offsetSize);
        out.append(6, '\0');  // unused, and the sort version
        out.append(char(offsetSize));
        out.append(char(refSize));
        appendBigEndian(out, count, 8);
        appendBigEndian(out, 0, 8);  // the top object is written first
        appendBigEndian(out, tableOffset, 8);
        return out;
    }

private:
    // The marker and length of a container, with the indexes of its
    // elements; a scalar's whole encoding, with none.
    struct Object {
        QByteArray head;
        std::vector<quint64> references;
    };

    static void appendMarker(QByteArray &out, int type, quint64 length) {
        if (length < kLongLength) {
            out.append(char((type << 4) | int(length)));
            return;
        }
        out.append(char((type << 4) | kLongLength));
        appendInteger(out, qint64(length));
    }

    static void appendInteger(QByteArray &out, qint64 value) {
        // Negative numbers take 8 bytes; smaller sizes are unsigned.
        const int size = value < 0 ? 8 : std::bit_ceil(unsigned(bytesFor(quint64(value))));
        out.append(char((kInteger << 4) | std::countr_zero(unsigned(size))));
        appendBigEndian(out, quint64(value), size);
    }

    static QByteArray scalar(const QVariant &value, PropertyList::Kind kind) {
        QByteArray out;
        switch (kind) {
            case PropertyList::Kind::Boolean:
                out.append(char(value.toBool() ? kTrue : kFalse));
                break;
            case PropertyList::Kind::Integer:
                appendInteger(out, value.toLongLong());
                break;
            case PropertyList::Kind::UnsignedInteger:
                out.append(char((kInteger << 4) | 4));
                appendBigEndian(out, 0, 8);
                appendBigEndian(out, value.toULongLong(), 8);
                break;
            case PropertyList::Kind::Real:
                out.append(char((kReal << 4) | 3));
                appendBigEndian(out, std::bit_cast<quint64>(value.toDouble()), 8);
                break;
            case PropertyList::Kind::Date:
                out.append(char((kDate << 4) | 3));
                appendBigEndian(out, std::bit_cast<quint64>(PropertyList::dateSecondsOf(value)), 8);
                break;
            case PropertyList::Kind::UID: {
                const quint64 uid = value.value<PropertyList::UID>().value;
                const int size = std::bit_ceil(unsigned(bytesFor(uid)));
                out.append(char((kUID << 4) | (size - 1)));
                appendBigEndian(out, uid, size);
                break;
            }
            case PropertyList::Kind::Data: {
                const QByteArray data = value.toByteArray();
                appendMarker(out, kData, quint64(data.size()));
                out.append(data);
                break;
            }
            default: {  // Kind::String
                const QString text = value.toString();
                const bool ascii = std::all_of(text.begin(), text.end(),
                                               [](QChar c) { return c.unicode() < 0x80; });
                appendMarker(out, ascii ? kAsciiString : kUtf16String, quint64(text.size()));
                for (QChar c : text)
                    appendBigEndian(out, c.unicode(), ascii ? 1 : 2);
                break;
            }
        }
        return out;
    }

    quint64 add(const QVariant &value, int depth) {
        const PropertyList::Kind kind = PropertyList::kindOf(value);
        if (kind != PropertyList::Kind::Array && kind != PropertyList::Kind::Dictionary) {
            const QByteArray encoded = scalar(value, kind);
            const auto found = m_scalars.constFind(encoded);
            if (found != m_scalars.constEnd())
                return *found;
            m_objects.push_back({encoded, {}});
            m_scalars.insert(encoded, m_objects.size() - 1);
            return m_objects.size() - 1;
        }
        if (depth >= PropertyList::kMaximumDepth)
            throw Error("value is nested too deeply for a property list");
        const quint64 index = m_objects.size();
        m_objects.emplace_back();
        std::vector<quint64> references;
        QByteArray head;
        if (kind == PropertyList::Kind::Dictionary) {
            const QVariantMap map = value.toMap();
            for (auto it = map.keyBegin(); it != map.keyEnd(); ++it)
                references.push_back(add(*it, depth + 1));
            for (const QVariant &item : map)
                references.push_back(add(item, depth + 1));
            appendMarker(head, kDictionary, quint64(map.size()));
        } else {
            const QVariantList list = value.toList();
            for (const QVariant &item : list)
                references.push_back(add(item, depth + 1));
            appendMarker(head, kArray, quint64(list.size()));
        }
        m_objects[index] = {head, std::move(references)};
        return index;
    }

    std::vector<Object> m_objects;
    QHash<QByteArray, quint64> m_scalars;
};

}  // namespace

QVariant read(const QByteArray &data) {
    return Reader(data).read();
}

QByteArray write(const QVariant &value) {
    return Writer().write(value);
}

}  // namespace BinaryPropertyList
