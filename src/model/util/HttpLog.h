#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>
#include <utility>

// The debug log of HTTP requests and responses, shared by every HTTP client.
// The clients describe what they send and receive in these plain records, so
// this code needs no network library. The value of an "Authorization" header
// is always written as "<>", and a password in a URL is never written.

// Header lines in the order they were sent or received.
using HttpHeaders = QList<std::pair<QString, QString>>;

struct HttpRequestRecord {
    QString method;
    QUrl url;
    HttpHeaders headers;
    QByteArray body;
};

struct HttpResponseRecord {
    int statusCode = 0;
    QUrl url;
    HttpHeaders headers;
};

namespace HttpLog {
// Bodies longer than this are cut to it in the log.
inline constexpr qsizetype kMaximumBodySize = 307200;

// Writes "send request =>\n…" at debug level: the method and URL, the header
// lines and, when `bodyLevel` is enabled, the body.
void logWithBodyAtLevel(const HttpRequestRecord &request, int bodyLevel);
// Writes "request body:\n…" at debug level when `bodyLevel` is not enabled
// (so logWithBodyAtLevel() left the body out) and there is a body.
void logBodyIfNotAlreadyLoggedAtLevel(const HttpRequestRecord &request, int bodyLevel);
// Writes "received response =>\n…" (for a 2xx status; "received <status>
// response =>\n…" for any other) at debug level: the status, the URL, the
// header lines and, when `bodyLevel` is enabled, `body`.
void log(const HttpResponseRecord &response, const QByteArray &body, int bodyLevel);

// A body as the log shows it: longer than kMaximumBodySize bytes, its first
// bytes as UTF-8 followed by "...truncated..."; an XML body (a "Content-Type"
// that begins with "text/xml" or "application/xml") indented when it parses;
// anything else as UTF-8. "<data>" when it is not UTF-8.
QString bodyStringFromData(const QByteArray &data, const HttpHeaders &headers);
}  // namespace HttpLog
