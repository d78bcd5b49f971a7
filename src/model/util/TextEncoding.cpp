#include "model/util/TextEncoding.h"

#include <iconv.h>

#include <QStringDecoder>
#include <cerrno>

#include "model/foundation/Log.h"

namespace {

constexpr char kHZName[] = "HZ-GB-2312";

std::optional<QString> decodedByQt(const QByteArray &data, QStringConverter::Encoding encoding) {
    QStringDecoder decoder(encoding, QStringConverter::Flag::Stateless);
    QString text = decoder.decode(data);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

std::optional<QString> decodedByIconv(const QByteArray &data, const QByteArray &name) {
    const iconv_t converter = iconv_open("UTF-8", name.constData());
    if (converter == iconv_t(-1)) {
        logError("TextEncoding: no converter for %@", name);
        return std::nullopt;
    }
    QByteArray output(data.size() * 3 + 16, Qt::Uninitialized);
    char *in = const_cast<char *>(data.constData());
    size_t inLeft = size_t(data.size());
    size_t produced = 0;
    bool flushing = false;
    bool valid = true;
    while (true) {
        char *out = output.data() + produced;
        size_t outLeft = size_t(output.size()) - produced;
        // Once the input is converted, a call without input flushes the
        // shift state of stateful encodings such as ISO-2022-JP.
        const size_t result = flushing ? iconv(converter, nullptr, nullptr, &out, &outLeft)
                                       : iconv(converter, &in, &inLeft, &out, &outLeft);
        produced = size_t(out - output.data());
        if (result != size_t(-1)) {
            if (flushing)
                break;
            flushing = true;
        } else if (errno == E2BIG) {
            output.resize(output.size() * 2);
        } else {
            valid = false;  // EILSEQ or EINVAL: invalid or incomplete input
            break;
        }
    }
    iconv_close(converter);
    if (!valid)
        return std::nullopt;
    return QString::fromUtf8(output.constData(), qsizetype(produced));
}

// HZ (RFC 1843) wraps 7-bit GB 2312 in "~{" … "~}"; turned into the 8-bit
// form (EUC-CN) for the converter. None when the escapes are malformed.
std::optional<QByteArray> gbBytesFromHZ(const QByteArray &data) {
    QByteArray gb;
    gb.reserve(data.size());
    bool inGB = false;
    for (qsizetype i = 0; i < data.size(); ++i) {
        const uchar c = uchar(data[i]);
        const uchar next = i + 1 < data.size() ? uchar(data[i + 1]) : 0;
        if (c >= 0x80)
            return std::nullopt;
        if (c == '~') {
            if (!inGB && next == '~')
                gb.append('~');
            else if (!inGB && next == '{')
                inGB = true;
            else if (inGB && next == '}')
                inGB = false;
            else if (inGB || next != '\n')
                return std::nullopt;
            ++i;  // "~\n" is a line continuation and yields nothing
        } else if (!inGB) {
            gb.append(char(c));
        } else if (c >= 0x21 && c <= 0x7E && next >= 0x21 && next <= 0x7E) {
            gb.append(char(c | 0x80));
            gb.append(char(next | 0x80));
            ++i;
        } else {
            return std::nullopt;
        }
    }
    return gb;
}

}  // namespace

std::optional<QString> TextEncoding::decode(const QByteArray &data) const {
    if (m_name == utf8().name())
        return decodedByQt(data, QStringConverter::Utf8);
    if (m_name == isoLatin1().name())
        return decodedByQt(data, QStringConverter::Latin1);
    if (m_name == kHZName) {
        const std::optional<QByteArray> gb = gbBytesFromHZ(data);
        return gb ? decodedByIconv(*gb, "EUC-CN") : std::nullopt;
    }
    return decodedByIconv(data, m_name);
}
