#include "model/util/TextDecoding.h"

#include <QHash>
#include <array>

namespace {

using CharsetTable = QHash<QString, TextEncoding>;

CharsetTable buildCharsetTable() {
    CharsetTable table;
    const auto add = [&table](const char *charset, const char *encoding) {
        table.insert(QString::fromLatin1(charset), TextEncoding(encoding));
    };
    add("us-ascii", "ASCII");
    add("ascii", "ASCII");
    add("utf-8", "UTF-8");
    add("iso-8859-1", "ISO-8859-1");
    add("iso8859_1", "ISO-8859-1");
    for (const int part : {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15}) {
        const QByteArray name = "iso-8859-" + QByteArray::number(part);
        table.insert(QString::fromLatin1(name), TextEncoding(name.toUpper()));
    }
    add("iso-2022-cn", "ISO-2022-CN");
    add("iso-2022-kr", "ISO-2022-KR");
    add("iso-2022-jp", "ISO-2022-JP");
    add("koi8-r", "KOI8-R");
    add("koi8-u", "KOI8-U");
    add("big5", "BIG5");
    add("euc-kr", "EUC-KR");
    add("ks_c_5601-1987", "EUC-KR");
    add("euc-cn", "EUC-CN");
    add("euc-tw", "EUC-TW");
    add("hz-gb-2312", "HZ-GB-2312");
    add("gb-2312", "EUC-CN");
    add("gb2312", "EUC-CN");
    add("shift_jis", "SHIFT_JIS");
    add("euc-jp", "EUC-JP");
    for (int page = 1250; page <= 1258; ++page) {
        table.insert(QStringLiteral("windows-%1").arg(page),
                     TextEncoding("CP" + QByteArray::number(page)));
    }
    return table;
}

bool isUpperHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

int hexValue(char c) {
    return c <= '9' ? c - '0' : c - 'A' + 10;
}

}  // namespace

std::optional<TextEncoding> encodingForCharset(const QString &charset) {
    static const CharsetTable table = buildCharsetTable();
    if (charset.isNull())
        return std::nullopt;
    const auto found = table.constFind(charset.trimmed().toLower());
    if (found == table.constEnd())
        return std::nullopt;
    return found.value();
}

std::optional<QString> stringFromData(const QByteArray &data, const QString &charset) {
    if (data.isNull())
        return std::nullopt;
    if (const std::optional<TextEncoding> named = encodingForCharset(charset)) {
        if (std::optional<QString> text = named->decode(data))
            return text;
    }
    const std::array fallbacks{TextEncoding::utf8(), TextEncoding::windowsLatin1(),
                               TextEncoding::isoLatin1(), TextEncoding::shiftJIS(),
                               TextEncoding::ascii()};
    for (const TextEncoding &encoding : fallbacks) {
        if (std::optional<QString> text = encoding.decode(data))
            return text;
    }
    return std::nullopt;
}

QByteArray bytesFromQuotedPrintable(const QByteArray &text) {
    QByteArray bytes("");  // empty, not null: no bytes still decode to ""
    bytes.reserve(text.size());
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        if (text[i] != '=') {
            bytes.append(text[i]);
            continue;
        }
        if (i + 1 >= size)
            break;
        const char next = text[i + 1];
        if (next == '\r' || next == '\n') {
            i += (next == '\r' && i + 2 < size && text[i + 2] == '\n') ? 2 : 1;
        } else if (i + 2 < size && isUpperHexDigit(next) && isUpperHexDigit(text[i + 2])) {
            bytes.append(char(hexValue(next) * 16 + hexValue(text[i + 2])));
            i += 2;
        }
    }
    return bytes;
}

std::optional<QString> stringFromQuotedPrintableString(const QString &text,
                                                       const QString &charset) {
    if (text.isNull())
        return std::nullopt;
    return stringFromData(bytesFromQuotedPrintable(text.toLatin1()), charset);
}

std::optional<QString> stringFromFoldedString(const QByteArray &folded) {
    QByteArray text = folded;
    text.replace('\r', QByteArrayView());
    QByteArray unfolded;
    unfolded.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool continued =
            text[i] == '\n' && i + 1 < text.size() && (text[i + 1] == ' ' || text[i + 1] == '\t');
        if (continued)
            ++i;
        unfolded.append(continued ? ' ' : text[i]);
    }
    return TextEncoding::utf8().decode(unfolded);
}
