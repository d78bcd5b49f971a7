#include "model/store/Utf8Scratch.h"

#include <QChar>
#include <algorithm>

namespace {

// As QString::toUtf8() encodes: a high surrogate followed by a low one is one
// character, any other surrogate a '?'. At most three bytes per unit.
char *encodeUtf8Like(char *out, const char16_t *in, const char16_t *end) {
    while (in != end) {
        const char16_t unit = *in++;
        if (unit < 0x80) {
            *out++ = char(unit);
        } else if (unit < 0x800) {
            *out++ = char(0xc0 | (unit >> 6));
            *out++ = char(0x80 | (unit & 0x3f));
        } else if (!QChar::isSurrogate(unit)) {
            *out++ = char(0xe0 | (unit >> 12));
            *out++ = char(0x80 | ((unit >> 6) & 0x3f));
            *out++ = char(0x80 | (unit & 0x3f));
        } else if (QChar::isHighSurrogate(unit) && in != end && QChar::isLowSurrogate(*in)) {
            const char32_t code = QChar::surrogateToUcs4(unit, *in++);
            *out++ = char(0xf0 | (code >> 18));
            *out++ = char(0x80 | ((code >> 12) & 0x3f));
            *out++ = char(0x80 | ((code >> 6) & 0x3f));
            *out++ = char(0x80 | (code & 0x3f));
        } else {
            *out++ = '?';
        }
    }
    return out;
}

}  // namespace

char *Utf8Scratch::reserve(qsizetype bytes) {
    if (m_current < m_blocks.size()) {
        if (m_blocks[m_current].size - m_used >= bytes)
            return m_blocks[m_current].bytes.get() + m_used;
        if (m_used > 0) {
            ++m_current;
            m_used = 0;
        }
    }
    if (m_current == m_blocks.size() || m_blocks[m_current].size < bytes) {
        const qsizetype size = std::max(kBlockSize, bytes);
        m_blocks.insert(m_blocks.begin() + std::ptrdiff_t(m_current),
                        Block{std::make_unique<char[]>(std::size_t(size)), size});
    }
    return m_blocks[m_current].bytes.get();
}

QByteArrayView Utf8Scratch::add(QStringView text) {
    char *begin = reserve(text.size() * 3);
    const auto *units = reinterpret_cast<const char16_t *>(text.utf16());
    char *end = encodeUtf8Like(begin, units, units + text.size());
    m_used += end - begin;
    return QByteArrayView(begin, end - begin);
}

void Utf8Scratch::clear() {
    // Blocks made for one long text do not stay.
    std::erase_if(m_blocks, [](const Block &block) { return block.size > kBlockSize; });
    m_current = 0;
    m_used = 0;
}
