#include "model/util/HttpLog.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include "model/foundation/Log.h"
#include "model/util/TextEncoding.h"

namespace HttpLog {
namespace {

QString headerLines(const HttpHeaders &headers) {
    QString lines;
    for (const auto &[name, value] : headers) {
        const bool secret = name.compare(QLatin1String("Authorization"), Qt::CaseInsensitive) == 0;
        lines += format("%@: %@\n", name, secret ? QStringLiteral("<>") : value);
    }
    return lines;
}

QString urlText(const QUrl &url) {
    return url.toString(QUrl::RemovePassword | QUrl::FullyEncoded);
}

bool isXML(const HttpHeaders &headers) {
    for (const auto &[name, value] : headers) {
        if (name.compare(QLatin1String("Content-Type"), Qt::CaseInsensitive) == 0)
            return value.startsWith(QLatin1String("text/xml"), Qt::CaseInsensitive) ||
                   value.startsWith(QLatin1String("application/xml"), Qt::CaseInsensitive);
    }
    return false;
}

std::optional<QString> indentedXML(const QByteArray &data) {
    QXmlStreamReader reader(data);
    // Prefixes and namespace declarations are copied as written.
    reader.setNamespaceProcessing(false);
    QString text;
    QXmlStreamWriter writer(&text);
    writer.setAutoFormatting(true);
    writer.setAutoFormattingIndent(2);
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.hasError())
            return std::nullopt;
        // Whitespace is replaced by our indentation; a declaration is written
        // only when the body had one.
        if (reader.isWhitespace() ||
            (reader.isStartDocument() && reader.documentVersion().isEmpty()))
            continue;
        if (reader.isStartElement()) {
            writer.writeStartElement(reader.qualifiedName().toString());
            for (const QXmlStreamNamespaceDeclaration &declaration :
                 reader.namespaceDeclarations()) {
                const QString prefix = declaration.prefix().toString();
                writer.writeAttribute(
                    prefix.isEmpty() ? QStringLiteral("xmlns") : QStringLiteral("xmlns:") + prefix,
                    declaration.namespaceUri().toString());
            }
            writer.writeAttributes(reader.attributes());
        } else {
            writer.writeCurrentToken(reader);
        }
    }
    // Without a declaration the writer still starts the first element on a new line.
    if (text.startsWith(QLatin1Char('\n')))
        text.remove(0, 1);
    return text;
}

// `data` without the bytes of a UTF-8 sequence that a cut left incomplete.
QByteArray withoutCutCharacter(const QByteArray &data) {
    qsizetype start = data.size();
    while (start > 0 && data.size() - start < 3 && (uchar(data[start - 1]) & 0xC0) == 0x80)
        --start;
    if (start == 0)
        return data;
    const uchar lead = uchar(data[start - 1]);
    const qsizetype length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    return length > data.size() - start + 1 ? data.left(start - 1) : data;
}

QString bodyLine(const QByteArray &body, const HttpHeaders &headers) {
    return format("%@\n", bodyStringFromData(body, headers));
}

}  // namespace

void logWithBodyAtLevel(const HttpRequestRecord &request, int bodyLevel) {
    if (!Log::isEnabled(LogFlagDebug))
        return;
    QString text =
        format("%@ %@\n", request.method, urlText(request.url)) + headerLines(request.headers);
    if (Log::isEnabled(bodyLevel))
        text += bodyLine(request.body, request.headers);
    logDebug("send request =>\n%@", text);
}

void logBodyIfNotAlreadyLoggedAtLevel(const HttpRequestRecord &request, int bodyLevel) {
    if (Log::isEnabled(bodyLevel) || request.body.isEmpty() || !Log::isEnabled(LogFlagDebug))
        return;
    logDebug("request body:\n%@\n", bodyStringFromData(request.body, request.headers));
}

void log(const HttpResponseRecord &response, const QByteArray &body, int bodyLevel) {
    if (!Log::isEnabled(LogFlagDebug))
        return;
    QString text = format("HTTP %ld\n", response.statusCode) +
                   format("URL: %@\n", urlText(response.url)) + headerLines(response.headers);
    if (Log::isEnabled(bodyLevel))
        text += bodyLine(body, response.headers);
    if (response.statusCode >= 200 && response.statusCode < 300)
        logDebug("received response =>\n%@", text);
    else
        logDebug("received %ld response =>\n%@", response.statusCode, text);
}

QString bodyStringFromData(const QByteArray &data, const HttpHeaders &headers) {
    const QString undecodable = QStringLiteral("<data>");
    if (data.size() > kMaximumBodySize) {
        const std::optional<QString> start =
            TextEncoding::utf8().decode(withoutCutCharacter(data.left(kMaximumBodySize)));
        return start ? *start + QStringLiteral("...truncated...") : undecodable;
    }
    if (isXML(headers)) {
        if (const std::optional<QString> indented = indentedXML(data))
            return *indented;
    }
    return TextEncoding::utf8().decode(data).value_or(undecodable);
}

}  // namespace HttpLog
