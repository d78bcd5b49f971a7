#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// WebDAV property and element names travel through the program as one
// string, the property key: the local name alone in the "DAV:" namespace,
// otherwise the namespace URI, one space and the local name
// ("urn:ietf:params:xml:ns:caldav calendar-home-set").
namespace PropertyKey {
inline constexpr char kDAVNamespace[] = "DAV:";

// `name` unchanged for no namespace or "DAV:", else "namespace name".
QString inNamespace(const QString &name, const std::optional<QString> &ns);

struct Parts {
    QString ns;         // "DAV:" when the key has no namespace
    QString localName;  // the whole key when it has no space
};
// Splits a key at its last space.
Parts getNamespace(const QString &key);

// "prefix:name", the qualified element name.
QString withPrefix(const QString &name, const QString &prefix);

// Whether two hrefs name the same resource: equal once each ends in "/".
bool isEqualToHREF(const QString &href, const QString &other);
}  // namespace PropertyKey

// URL helpers of the WebDAV client.
namespace WebDAVURL {
// The host without its first label when it has three labels or more
// ("a.b.example" gives "b.example"); the host itself otherwise.
QString domain(const QUrl &url);
// The URL without its last path component, ending in "/".
QString parentCollectionURL(const QString &url);
// "0", "1", or "infinity" for any other depth.
QString stringFromDepth(int depth);
// The code of an HTTP status line: its second white-space separated word as
// an integer ("HTTP/1.1 404 Not Found" gives 404); 0 when there is none.
int statusFromStatusLine(const QString &line);
// A principal's path as it is kept and compared (a proxy ID, an owner):
// without scheme and host, unescaped, ending in "/"; empty for none.
QString principalPath(const QString &text);
}  // namespace WebDAVURL
