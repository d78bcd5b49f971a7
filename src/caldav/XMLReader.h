#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <optional>

// A simple XML-to-dictionary reader (for SOAP answers). Each element becomes
// a dictionary of its attributes, stored in its parent under its qualified
// name as written ("t:Items"); a second element of the same name turns that
// entry into a list; trimmed non-empty text is stored under "text". The
// result holds the root element under its name.
namespace XMLReader {
// None when the data does not parse (`error` gets the parser's message).
std::optional<QVariantMap> dictionaryForXMLData(const QByteArray &data, QString &error);
std::optional<QVariantMap> dictionaryForXMLString(const QString &string, QString &error);
// The "text" of the entry (of its first element when it is a list); none
// when empty or absent.
std::optional<QString> stringValueForKey(const QString &key, const QVariantMap &dictionary);
// The entry as a list (one dictionary is wrapped); none when absent or empty.
std::optional<QVariantList> arrayValueForKey(const QString &key, const QVariantMap &dictionary);
}  // namespace XMLReader
