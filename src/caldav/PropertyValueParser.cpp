#include "caldav/PropertyValueParser.h"

#include <QStringList>

#include "caldav/PropertyKey.h"
#include "caldav/XMLElement.h"

namespace {

// The keys of the children of every `inner` child of every `outer` child.
// The keys inside each `outer` child's `inner` children; an `outer` child
// without `inner` ones (some servers leave the wrapper out) gives its own
// child keys.
QStringList nestedChildKeys(const XMLElement &element, const QString &outer, const QString &inner) {
    QStringList keys;
    for (const XMLElement *outerElement : element.childrenWithKey(outer)) {
        const QList<const XMLElement *> innerElements = outerElement->childrenWithKey(inner);
        if (innerElements.isEmpty())
            keys += outerElement->childKeys();
        for (const XMLElement *innerElement : innerElements)
            keys += innerElement->childKeys();
    }
    return keys;
}

QVariantList neededPrivileges(const XMLElement &element) {
    // The resources stand in the element itself or in DAV:need-privileges children.
    QList<const XMLElement *> resources = element.childrenWithKey(QStringLiteral("resource"));
    for (const XMLElement *inner : element.childrenWithKey(QStringLiteral("need-privileges")))
        resources += inner->childrenWithKey(QStringLiteral("resource"));
    QVariantList needed;
    for (const XMLElement *resource : resources) {
        QStringList privileges;
        for (const XMLElement *privilege : resource->childrenWithKey(QStringLiteral("privilege")))
            privileges += privilege->childKeys();
        for (const QString &href : PropertyValueParser::hrefTexts(*resource))
            for (const QString &privilege : privileges)
                needed.append(QVariantMap{{QStringLiteral("href"), href},
                                          {QStringLiteral("privilege"), privilege}});
    }
    return needed;
}

}  // namespace

PropertyValueParser::~PropertyValueParser() = default;

QVariantList PropertyValueParser::responseDictionaries(const XMLElement &element) const {
    QVariantList responses;
    for (const XMLElement *response : element.childrenWithKey(QStringLiteral("response")))
        responses.append(responseDictionary(*response));
    return responses;
}

QStringList PropertyValueParser::hrefTexts(const XMLElement &element) {
    QStringList texts;
    for (const XMLElement *href : element.childrenWithKey(QStringLiteral("href")))
        texts.append(href->text);
    return texts;
}

QVariant PropertyValueParser::valueForElement(const XMLElement &element,
                                              const QString &property) const {
    if (property == QLatin1String("resourcetype"))
        return element.childKeys();
    if (property == QLatin1String("group-membership"))
        return hrefTexts(element);
    if (property == QLatin1String("group-member-set"))
        return responseDictionaries(element);
    if (property == QLatin1String("current-user-privilege-set")) {
        QStringList keys;
        for (const XMLElement *privilege : element.childrenWithKey(QStringLiteral("privilege")))
            keys += privilege->childKeys();
        return keys;
    }
    if (property == QLatin1String("principal-search-property-set"))
        return nestedChildKeys(element, QStringLiteral("principal-search-property"),
                               QStringLiteral("prop"));
    if (property == QLatin1String("supported-report-set"))
        return nestedChildKeys(element, QStringLiteral("supported-report"),
                               QStringLiteral("report"));
    if (property == QLatin1String("need-privileges"))
        return neededPrivileges(element);
    return element.text;
}

QVariantMap PropertyValueParser::responseDictionary(const XMLElement &response) const {
    QVariantMap dictionary;
    QVariantList propstats;
    for (const XMLElement &child : response.children) {
        if (child.key == QLatin1String("status")) {
            dictionary.insert(child.key, WebDAVURL::statusFromStatusLine(child.text));
        } else if (child.key == QLatin1String("propstat")) {
            QVariantMap propstat;
            for (const XMLElement &part : child.children) {
                if (part.key == QLatin1String("prop")) {
                    for (const XMLElement &property : part.children)
                        propstat.insert(property.key, valueForElement(property, property.key));
                } else if (part.key == QLatin1String("status")) {
                    propstat.insert(QStringLiteral("property status"),
                                    WebDAVURL::statusFromStatusLine(part.text));
                } else if (part.key == QLatin1String("responsedescription")) {
                    propstat.insert(part.key, part.text);
                }
            }
            propstats.append(propstat);
        } else if (child.key == QLatin1String("error")) {
            // The conditions that failed, as in the body of a refusal.
            QVariantList conditions;
            for (const XMLElement &condition : child.children)
                conditions.append(
                    QVariantMap{{condition.key, valueForElement(condition, condition.key)}});
            dictionary.insert(child.key, conditions);
        } else if (!dictionary.contains(child.key)) {
            // Of repeated elements (several DAV:href) the first one counts.
            dictionary.insert(child.key, child.text);
        }
    }
    if (!propstats.isEmpty())
        dictionary.insert(QStringLiteral("propstat"), propstats);
    return dictionary;
}
