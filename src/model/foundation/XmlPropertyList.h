#pragma once

#include <QByteArray>
#include <QVariant>

// The XML property-list format: a <plist> element holding one value of
// <dict> (<key> and value pairs), <array>, <string>, <integer>, <real>,
// <true/>, <false/>, <date> ("yyyy-MM-ddTHH:mm:ssZ", UTC) or <data> (base64).
//
// The reader accepts a bare value without <plist>, fractions of a second in
// dates, hexadecimal integers ("0x1F"), "nan" and "+infinity"/"-infinity" in
// reals, and turns a dictionary whose only entry is an integer under
// "CF$UID" into a UID. It never loads external entities and refuses unknown
// elements, keys outside dictionaries and values that do not parse.
//
// The writer indents with tabs, writes dates as whole seconds and refuses
// what XML cannot carry: dates outside the years 1 to 9999 and strings with
// characters XML 1.0 does not allow (control characters but tab, line feed
// and carriage return; unpaired surrogates; U+FFFE and U+FFFF).
namespace XmlPropertyList {

// Throws PropertyList::Error, saying what is wrong and on which line.
QVariant read(const QByteArray &data);
// Throws PropertyList::Error for a value XML cannot carry.
QByteArray write(const QVariant &value);

}  // namespace XmlPropertyList
