#include "caldav/WebDAVResults.h"

#include <QXmlStreamReader>

#include "caldav/HTMLText.h"
#include "caldav/PropertyValueParser.h"
#include "caldav/XMLElement.h"
#include "model/foundation/Log.h"
#include "model/util/TextEncoding.h"

namespace {

// The body as a log shows it (cut when long, "<data>" when not UTF-8).
QString bodyText(const QByteArray &body) {
    return HttpLog::bodyStringFromData(body, {});
}

// Reads a multi-status document response by response into `results`;
// false (and `results` untouched) when it does not parse.
bool readMultistatus(const QByteArray &body, const PropertyValueParser &parser,
                     QVariantMap &results, QString &error) {
    QXmlStreamReader reader(body);
    QVariantList responses;
    QVariantList syncResponses;  // the older form, used when there is no DAV:response
    std::optional<QString> description;
    std::optional<QString> syncToken;
    bool sawRoot = false;
    while (!reader.atEnd() && !reader.hasError()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (!sawRoot) {
            sawRoot = true;
            continue;
        }
        const XMLElement element = XMLElement::read(reader);
        if (reader.hasError())
            break;
        if (element.key == QLatin1String("response"))
            responses.append(parser.responseDictionary(element));
        else if (element.key == QLatin1String("sync-response"))
            syncResponses.append(parser.responseDictionary(element));
        else if (element.key == QLatin1String("responsedescription") && !description)
            description = element.text;
        else if (element.key == QLatin1String("sync-token") && !syncToken)
            syncToken = element.text;
    }
    if (reader.hasError() || !sawRoot) {
        error = reader.hasError() ? reader.errorString() : QStringLiteral("no root element");
        return false;
    }
    results.insert(QStringLiteral("multistatus"), responses.isEmpty() ? syncResponses : responses);
    if (description)
        results.insert(QStringLiteral("responsedescription"), *description);
    if (syncToken)
        results.insert(QStringLiteral("sync-token"), *syncToken);
    return true;
}

void readXMLRoot(const QByteArray &body, const PropertyValueParser &parser, QVariantMap &results) {
    QString error;
    const std::optional<XMLElement> root = XMLElement::parseDocument(body, error);
    if (!root) {
        logWarning("WebDAVClient: error processing report %@ (%@)", error, bodyText(body));
        return;
    }
    results.insert(root->key, parser.valueForElement(*root, root->key));
}

void readError(const QByteArray &body, const PropertyValueParser &parser, QVariantMap &results) {
    if (body.left(6).toLower() == "<html>") {
        const QString text =
            HTMLText::plainText(TextEncoding::utf8().decode(body).value_or(QString()));
        if (!text.isEmpty())
            results.insert(QStringLiteral("error"), QVariantList{QVariantMap{{text, QString()}}});
        return;
    }
    QString error;
    const std::optional<XMLElement> root = XMLElement::parseDocument(body, error);
    if (!root)
        return;
    const XMLElement *container = &*root;
    if (root->localName() == QLatin1String("multistatus"))
        container = root->children.empty() ? nullptr : &root->children.front();
    QVariantList errors;
    if (container) {
        for (const XMLElement &child : container->children) {
            const QVariant value = parser.valueForElement(child, child.key);
            if (!child.key.isEmpty() && value.isValid())
                errors.append(QVariantMap{{child.key, value}});
        }
    }
    results.insert(QStringLiteral("error"), errors);
}

}  // namespace

namespace WebDAVResults {

QVariantMap calcResultsDict(const WebDAVResponse &response, const QString &method,
                            bool expectXMLResponse, const QByteArray &body,
                            const PropertyValueParser &parser) {
    QVariantMap headers;
    for (const auto &[name, value] : response.headers)
        headers.insert(name, value);
    QVariantMap results{{QStringLiteral("status"), response.statusCode},
                        {QStringLiteral("headers"), headers},
                        {QStringLiteral("url"), response.url.toString()}};
    const int status = response.statusCode;
    if (status == 200 && (method == QLatin1String("REPORT") || expectXMLResponse)) {
        readXMLRoot(body, parser, results);
    } else if (status == 207) {
        QString error;
        if (!readMultistatus(body, parser, results, error))
            logWarning("WebDAVClient: error processing multistatus %@ (%@)", error, bodyText(body));
    } else if (status >= 400 && status <= 499 && !body.isEmpty()) {
        readError(body, parser, results);
    }
    return results;
}

}  // namespace WebDAVResults

QVariantMap WebDAVResults::firstResponse(const QVariantMap &results) {
    const QVariantList responses = results.value(QStringLiteral("multistatus")).toList();
    return responses.isEmpty() ? QVariantMap() : responses.first().toMap();
}

QVariantMap WebDAVResults::foundProperties(const QVariantMap &response) {
    QVariantMap found;
    const int responseStatus = response.value(QStringLiteral("status")).toInt();
    for (const QVariant &entry : response.value(QStringLiteral("propstat")).toList()) {
        QVariantMap propstat = entry.toMap();
        const QVariant status = propstat.take(QStringLiteral("property status"));
        propstat.remove(QStringLiteral("responsedescription"));
        if ((status.isValid() ? status.toInt() : responseStatus) != 200)
            continue;
        for (auto it = propstat.begin(); it != propstat.end(); ++it)
            if (!found.contains(it.key()))
                found.insert(it.key(), it.value());
    }
    return found;
}
