#include "model/foundation/BinaryListShortcut.h"

#include <QString>
#include <algorithm>

namespace {

constexpr char kShortcutMagic[] = "bplist00";
constexpr quint64 kShortcutMagicSize = sizeof kShortcutMagic - 1;
constexpr quint64 kShortcutTrailerSize = 32;

bool isShortcutWidth(quint64 width) {
    return width == 1 || width == 2 || width == 4 || width == 8;
}

// Reads "bplist00" data whose top object is a string, or an array or
// dictionary of strings; every offset, count and reference is checked
// against the data before it is used.
class ShortcutReader {
public:
    explicit ShortcutReader(const QByteArray &data)
        : m_bytes(reinterpret_cast<const uchar *>(data.constData())),
          m_size(quint64(data.size())) {}

    std::optional<QVariant> read() {
        if (!readTrailer())
            return std::nullopt;
        const std::optional<quint64> top = offsetOf(m_trailer.top);
        if (!top)
            return std::nullopt;
        quint64 count = 0;
        quint64 content = 0;
        switch (m_bytes[*top] >> 4) {
            case 0x5:
            case 0x6:
                if (const std::optional<QString> text = stringAt(*top))
                    return QVariant(*text);
                return std::nullopt;
            case 0xA: {
                if (!counted(*top, count, content) || !refsFit(content, count))
                    return std::nullopt;
                QVariantList list;
                list.reserve(qsizetype(count));
                for (quint64 i = 0; i < count; ++i) {
                    const std::optional<QString> item = stringRef(content, i);
                    if (!item)
                        return std::nullopt;
                    list.append(*item);
                }
                return QVariant(list);
            }
            case 0xD: {
                if (!counted(*top, count, content) || count > m_size ||
                    !refsFit(content, 2 * count))
                    return std::nullopt;
                QVariantMap map;
                for (quint64 i = 0; i < count; ++i) {
                    const std::optional<QString> key = stringRef(content, i);
                    const std::optional<QString> value = stringRef(content, count + i);
                    if (!key || !value)
                        return std::nullopt;
                    map.insert(*key, *value);
                }
                return QVariant(map);
            }
            default:
                return std::nullopt;
        }
    }

private:
    quint64 bigEndian(quint64 at, quint64 width) const {
        quint64 value = 0;
        for (quint64 i = 0; i < width; ++i)
            value = (value << 8) | m_bytes[at + i];
        return value;
    }

    bool readTrailer() {
        if (m_size < kShortcutMagicSize + kShortcutTrailerSize ||
            !std::equal(kShortcutMagic, kShortcutMagic + kShortcutMagicSize, m_bytes))
            return false;
        const quint64 trailer = m_size - kShortcutTrailerSize;
        m_trailer.offsetSize = m_bytes[trailer + 6];
        m_trailer.refSize = m_bytes[trailer + 7];
        m_trailer.count = bigEndian(trailer + 8, 8);
        m_trailer.top = bigEndian(trailer + 16, 8);
        m_trailer.table = bigEndian(trailer + 24, 8);
        // The objects lie between the magic and the offset table, which ends
        // where the trailer begins.
        return isShortcutWidth(m_trailer.offsetSize) && isShortcutWidth(m_trailer.refSize) &&
               m_trailer.count > 0 && m_trailer.count <= m_size &&
               m_trailer.top < m_trailer.count && m_trailer.table >= kShortcutMagicSize &&
               m_trailer.table <= trailer &&
               m_trailer.count * m_trailer.offsetSize <= trailer - m_trailer.table;
    }

    // The offset of object `index`, when it lies in the object area.
    std::optional<quint64> offsetOf(quint64 index) const {
        if (index >= m_trailer.count)
            return std::nullopt;
        const quint64 offset =
            bigEndian(m_trailer.table + index * m_trailer.offsetSize, m_trailer.offsetSize);
        if (offset < kShortcutMagicSize || offset >= m_trailer.table)
            return std::nullopt;
        return offset;
    }

    // The count of the object at `at` (in its marker, or an integer after
    // it) and where its content begins.
    bool counted(quint64 at, quint64 &count, quint64 &content) const {
        count = m_bytes[at] & 0xf;
        content = at + 1;
        if (count < 0xf)
            return true;
        if (content >= m_trailer.table || (m_bytes[content] & 0xf0) != 0x10)
            return false;
        const quint64 width = quint64(1) << (m_bytes[content] & 0xf);
        if (width > 8 || width > m_trailer.table - content - 1)
            return false;
        count = bigEndian(content + 1, width);
        content += 1 + width;
        return true;
    }

    bool refsFit(quint64 content, quint64 refs) const {
        return refs <= (m_trailer.table - content) / m_trailer.refSize;
    }

    std::optional<QString> stringRef(quint64 content, quint64 i) const {
        const std::optional<quint64> at =
            offsetOf(bigEndian(content + i * m_trailer.refSize, m_trailer.refSize));
        return at ? stringAt(*at) : std::nullopt;
    }

    // An ASCII or UTF-16 string without U+0000 and without surrogates (which
    // the general reader judges).
    std::optional<QString> stringAt(quint64 at) const {
        const int kind = m_bytes[at] >> 4;
        quint64 count = 0;
        quint64 content = 0;
        if ((kind != 0x5 && kind != 0x6) || !counted(at, count, content))
            return std::nullopt;
        const quint64 width = kind == 0x5 ? 1 : 2;
        if (count > (m_trailer.table - content) / width)
            return std::nullopt;
        QString text(qsizetype(count), Qt::Uninitialized);
        char16_t *out = reinterpret_cast<char16_t *>(text.data());
        for (quint64 i = 0; i < count; ++i) {
            const char16_t unit = char16_t(bigEndian(content + i * width, width));
            if (unit == 0 || (width == 1 && unit >= 0x80) || QChar::isSurrogate(unit))
                return std::nullopt;
            out[i] = unit;
        }
        return text;
    }

    // What the trailer says: the widths of offsets and references, the
    // number of objects, the top one, and where the offset table starts.
    struct Trailer {
        quint64 offsetSize = 0;
        quint64 refSize = 0;
        quint64 count = 0;
        quint64 top = 0;
        quint64 table = 0;
    };

    const uchar *m_bytes;
    quint64 m_size;
    Trailer m_trailer;
};

}  // namespace

namespace BinaryListShortcut {

std::optional<QVariant> read(const QByteArray &data) {
    return ShortcutReader(data).read();
}

}  // namespace BinaryListShortcut
