#pragma once

#include <QString>
#include <QVariantMap>
#include <optional>

// The strings-file format of string tables: one `"key" = "value";` entry per
// line. Reading also accepts what hand-written files contain: /* */ and //
// comments, unquoted keys and values made of letters, digits and "_$:/.-",
// entries without a value (`"key";`, the value is the key), and the escapes
// \" \\ \' \n \t \r \a \b \f \v, octal \ooo and \uXXXX / \UXXXX.
namespace StringsFile {

// The dictionary as strings-file text, keys in sorted order; values are
// written as their text (numbers in decimal).
QString stringsFileFormatFromDictionary(const QVariantMap &dictionary);

// The dictionary of the text (string keys and values); none, with the reason
// and line in *error, when the text does not read.
std::optional<QVariantMap> propertyListFromStringsFileFormat(const QString &text, QString *error);

}  // namespace StringsFile
