#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// A character encoding that bytes can be decoded from, named as the system's
// converters know it ("UTF-8", "CP1252", "SHIFT_JIS", "ISO-2022-JP" …).
// UTF-8 and ISO Latin 1 are decoded by Qt, "HZ-GB-2312" by our own code on
// top of GB 2312, everything else by the C library's iconv.
class TextEncoding {
public:
    explicit TextEncoding(QByteArray name) : m_name(std::move(name)) {}

    static TextEncoding utf8() { return TextEncoding("UTF-8"); }
    static TextEncoding windowsLatin1() { return TextEncoding("CP1252"); }
    static TextEncoding isoLatin1() { return TextEncoding("ISO-8859-1"); }
    static TextEncoding shiftJIS() { return TextEncoding("SHIFT_JIS"); }
    static TextEncoding ascii() { return TextEncoding("ASCII"); }

    const QByteArray &name() const { return m_name; }

    // The text of `data` in this encoding: none when some byte sequence is
    // not valid in it (an incomplete sequence at the end included), or when
    // the system has no converter for it (logged as an error). A byte-order
    // mark at the start of UTF-8 is dropped.
    std::optional<QString> decode(const QByteArray &data) const;

    bool operator==(const TextEncoding &) const = default;

private:
    QByteArray m_name;
};
