#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

#include "model/util/TextEncoding.h"

// Decoding of text that arrives as bytes in a named character set (iCalendar
// files, mail, server answers), of quoted-printable text and of folded lines.

// The encoding of a character-set name ("utf-8", "Shift_JIS", "windows-1252",
// "ks_c_5601-1987" …), looked up without regard to case or surrounding
// whitespace; none for a missing or unknown name.
std::optional<TextEncoding> encodingForCharset(const QString &charset);

// `data` decoded with the encoding named by `charset`. When the name is
// unknown or the data is not valid in that encoding, the first of UTF-8,
// Windows-1252, ISO Latin 1, Shift JIS and ASCII that decodes it. None for
// missing (null) data or when nothing decodes it.
std::optional<QString> stringFromData(const QByteArray &data, const QString &charset);

// The bytes of quoted-printable text, read as below.
QByteArray bytesFromQuotedPrintable(const QByteArray &text);

// Quoted-printable text decoded to bytes, then to text with stringFromData().
// The text is read as ASCII. "=" followed by a line break (LF, CR or CRLF) is a
// soft line break and is dropped with it; "=" followed by two upper-case
// hexadecimal digits is that byte; any other "=" is dropped, and what follows
// it is copied as ordinary text. None for missing (null) text.
std::optional<QString> stringFromQuotedPrintableString(const QString &text, const QString &charset);

// Folded lines unfolded: carriage returns are dropped, a line feed followed by
// a space or a tab becomes one space, any other line feed stays. None when the
// result is not UTF-8.
std::optional<QString> stringFromFoldedString(const QByteArray &folded);
