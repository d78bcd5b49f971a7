#include "model/foundation/PropertyListGuard.h"

#include <QVarLengthArray>
#include <QXmlStreamReader>
#include <algorithm>

#include "model/foundation/PropertyList.h"

namespace PropertyListGuard {
namespace {

using PropertyList::Error;
using PropertyList::kMaximumDepth;

[[noreturn]] void fail(const QString &message) {
    throw Error(message.toStdString());
}

// The layout of "bplist00" data: the header, objects, a table of their
// offsets, and a trailer saying where the table is and how wide its numbers
// are. Objects start with a marker byte: a type in the high nibble and a
// length (or 0xF and an integer object holding the length) in the low one.
constexpr quint64 kHeaderSize = 8;
constexpr quint64 kTrailerSize = 32;
constexpr int kData = 0x4, kAsciiString = 0x5, kUtf16String = 0x6, kArray = 0xA, kSet = 0xC,
              kDictionary = 0xD;

// libplist copies a shared object wherever it is referred to. Each value but
// the top one takes a reference of a byte or more, so unless containers are
// shared a list reads as at most as many values as it has bytes; writers do
// share equal strings, so their bytes may add up to more than the data, up to
// 32 times its size plus 4 MiB.
constexpr quint64 kBytesFactor = 32;
constexpr quint64 kBytesAllowance = 4 << 20;

class BinaryCheck {
public:
    explicit BinaryCheck(const QByteArray &data);
    void run() { visit(m_top, 0); }

private:
    // One object: its own bytes, and where its references start and how many.
    struct Object {
        quint64 size = 0;
        quint64 references = 0;
        quint64 referenceCount = 0;
        bool container = false;
    };
    // What reading an object makes with everything it refers to: values,
    // their bytes, and how many containers nest in it (itself included).
    struct Extent {
        quint64 values = 0;
        quint64 bytes = 0;
        int height = 0;
    };
    enum class State : quint8 { Unvisited, Visiting, Visited };

    quint64 number(quint64 at, int size) const;
    Object objectAt(quint64 index) const;
    quint64 length(quint64 index, int info, quint64 &at) const;
    Extent visit(quint64 index, int depth);

    const uchar *m_bytes;
    quint64 m_size;
    int m_offsetSize = 0;
    int m_referenceSize = 0;
    quint64 m_count = 0;
    quint64 m_top = 0;
    quint64 m_table = 0;
    // Room for the objects of most lists (the archive of a text or a list
    // of tags holds a few) without allocating for each list checked.
    static constexpr qsizetype kInlineObjects = 32;
    QVarLengthArray<State, kInlineObjects> m_states;
    QVarLengthArray<Extent, kInlineObjects> m_extents;
};

BinaryCheck::BinaryCheck(const QByteArray &data)
    : m_bytes(reinterpret_cast<const uchar *>(data.constData())), m_size(quint64(data.size())) {
    if (m_size <= kHeaderSize + kTrailerSize)
        fail(QStringLiteral("binary property list is too short"));
    const quint64 trailer = m_size - kTrailerSize;
    m_offsetSize = m_bytes[trailer + 6];
    m_referenceSize = m_bytes[trailer + 7];
    if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8)
        fail(QStringLiteral(
                 "binary property list has offsets of %1 bytes and references of %2 bytes")
                 .arg(m_offsetSize)
                 .arg(m_referenceSize));
    m_count = number(trailer + 8, 8);
    m_top = number(trailer + 16, 8);
    m_table = number(trailer + 24, 8);
    if (m_count == 0)
        fail(QStringLiteral("binary property list holds no objects"));
    if (m_top >= m_count)
        fail(QStringLiteral("binary property list names object %1 of %2 as its top object")
                 .arg(m_top)
                 .arg(m_count));
    if (m_table < kHeaderSize || m_table > trailer ||
        m_count > (trailer - m_table) / quint64(m_offsetSize))
        fail(QStringLiteral("binary property list has an offset table of %1 entries at %2, which "
                            "does not fit in its %3 bytes")
                 .arg(m_count)
                 .arg(m_table)
                 .arg(m_size));
    m_states.resize(qsizetype(m_count));
    std::fill(m_states.begin(), m_states.end(), State::Unvisited);
    m_extents.resize(qsizetype(m_count));
    std::fill(m_extents.begin(), m_extents.end(), Extent());
}

quint64 BinaryCheck::number(quint64 at, int size) const {
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | m_bytes[at + quint64(i)];
    return value;
}

// The length in the marker's low nibble `info`, or in the integer object
// after the marker; `at` moves past what was read.
quint64 BinaryCheck::length(quint64 index, int info, quint64 &at) const {
    if (info != 0xF)
        return quint64(info);
    const int width = at < m_table ? 1 << (m_bytes[at] & 0x0F) : 0;
    if (width == 0 || (m_bytes[at] & 0xF0) != 0x10 || width > 8 || quint64(width) >= m_table - at)
        fail(QStringLiteral("binary property list object %1 has a malformed length").arg(index));
    const quint64 value = number(at + 1, width);
    at += 1 + quint64(width);
    return value;
}

BinaryCheck::Object BinaryCheck::objectAt(quint64 index) const {
    const quint64 start = number(m_table + index * quint64(m_offsetSize), m_offsetSize);
    if (start < kHeaderSize || start >= m_table)
        fail(QStringLiteral("binary property list object %1 lies at %2, outside the objects")
                 .arg(index)
                 .arg(start));
    const int type = m_bytes[start] >> 4, info = m_bytes[start] & 0x0F;
    quint64 at = start + 1;
    quint64 payload = 0;
    Object object;
    switch (type) {
        case kData:
        case kAsciiString:
            payload = length(index, info, at);
            break;
        case kUtf16String:
            payload = length(index, info, at);
            payload = payload > m_table ? m_table : 2 * payload;
            break;
        case kArray:
        case kSet:
            object.container = true;
            object.referenceCount = length(index, info, at);
            break;
        case kDictionary:
            object.container = true;
            object.referenceCount = length(index, info, at);
            object.referenceCount =
                object.referenceCount > m_table ? m_table : 2 * object.referenceCount;
            break;
        default:  // a scalar of at most 16 bytes, which libplist bounds itself
            break;
    }
    const quint64 room = m_table - at;
    if (payload > room || object.referenceCount > room / quint64(m_referenceSize))
        fail(QStringLiteral("binary property list object %1 runs past the end of the objects")
                 .arg(index));
    // libplist cuts strings at U+0000, or asserts on keys holding it.
    if (type == kAsciiString || type == kUtf16String) {
        const int width = type == kAsciiString ? 1 : 2;
        for (quint64 i = at; i < at + payload; i += quint64(width)) {
            if (number(i, width) == 0)
                fail(QStringLiteral("binary property list object %1 holds the character U+0000")
                         .arg(index));
        }
    }
    object.references = at;
    object.size = at - start + payload + object.referenceCount * quint64(m_referenceSize);
    return object;
}

BinaryCheck::Extent BinaryCheck::visit(quint64 index, int depth) {
    if (m_states[index] == State::Visiting)
        fail(QStringLiteral("binary property list has a cycle through object %1").arg(index));
    if (m_states[index] == State::Unvisited) {
        m_states[index] = State::Visiting;
        const Object object = objectAt(index);
        if (object.container && depth >= kMaximumDepth)
            fail(QStringLiteral("binary property list is nested too deeply"));
        Extent extent{1, object.size, object.container ? 1 : 0};
        for (quint64 i = 0; i < object.referenceCount; ++i) {
            const quint64 child =
                number(object.references + i * quint64(m_referenceSize), m_referenceSize);
            if (child >= m_count)
                fail(QStringLiteral("binary property list refers to object %1 of %2")
                         .arg(child)
                         .arg(m_count));
            const Extent inner = visit(child, depth + 1);
            extent.values += inner.values;
            extent.bytes += inner.bytes;
            extent.height = std::max(extent.height, inner.height + 1);
            if (extent.values > m_size || extent.bytes > kBytesFactor * m_size + kBytesAllowance)
                fail(
                    QStringLiteral("binary property list expands too much through shared objects"));
        }
        m_extents[index] = extent;
        m_states[index] = State::Visited;
    }
    // A shared object first met higher up may nest too deeply where it is
    // met again.
    if (depth + m_extents[index].height > kMaximumDepth)
        fail(QStringLiteral("binary property list is nested too deeply"));
    return m_extents[index];
}

}  // namespace

void checkXml(const QByteArray &data) {
    if (data.contains('\0'))
        fail(QStringLiteral("XML property list holds a NUL byte"));
    QXmlStreamReader reader(data);
    const auto line = [&] { return QStringLiteral(" (line %1)").arg(reader.lineNumber()); };
    int depth = 0;
    while (!reader.atEnd() && !reader.hasError()) {
        switch (reader.readNext()) {
            case QXmlStreamReader::StartDocument: {
                const QString encoding = reader.documentEncoding().toString();
                if (!encoding.isEmpty() &&
                    encoding.compare(QLatin1String("UTF-8"), Qt::CaseInsensitive) != 0)
                    fail(QStringLiteral("XML property list is in the encoding %1, not UTF-8")
                             .arg(encoding));
                break;
            }
            case QXmlStreamReader::DTD:
                if (!reader.entityDeclarations().isEmpty())
                    fail(QStringLiteral("XML property list declares entities") + line());
                break;
            case QXmlStreamReader::EntityReference:
                fail(QStringLiteral("XML property list refers to the entity &%1;")
                         .arg(reader.name()) +
                     line());
            case QXmlStreamReader::StartElement:
                // Two more: the <plist> element around the value, and a key
                // or value in the deepest container.
                if (++depth > kMaximumDepth + 2)
                    fail(QStringLiteral("XML property list is nested too deeply") + line());
                break;
            case QXmlStreamReader::EndElement:
                --depth;
                break;
            default:
                break;
        }
    }
    if (reader.hasError())
        fail(QStringLiteral("XML property list is not well formed: %1").arg(reader.errorString()) +
             line());
}

void checkBinary(const QByteArray &data) {
    BinaryCheck(data).run();
}

}  // namespace PropertyListGuard
