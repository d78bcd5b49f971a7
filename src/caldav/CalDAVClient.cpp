#include "caldav/CalDAVClient.h"

#include <QHostAddress>
#include <QLocale>
#include <QMetaObject>
#include <QMutex>
#include <QtConcurrent/QtConcurrentRun>
#include <functional>

#include "caldav/CalDAVClientDelegate.h"
#include "caldav/PropertyKey.h"
#include "caldav/ResolvSRVResolver.h"
#include "caldav/XMLBodyWriter.h"
#include "caldav/XMLElement.h"
#include "model/foundation/Log.h"

namespace {

struct SharedResolvers {
    QMutex mutex;
    std::shared_ptr<const SRVResolver> system;
    std::shared_ptr<const SRVResolver> publicServer;
};

SharedResolvers &sharedResolvers() {
    static SharedResolvers resolvers;
    return resolvers;
}

QStringList attributeOfChildren(const XMLElement &element, const QString &childKey,
                                const char *attribute) {
    QStringList values;
    for (const XMLElement *child : element.childrenWithKey(childKey))
        values.append(child->attributes.value(QLatin1String(attribute)));
    return values;
}

// Each child's key → what `valueOf` makes of it.
QVariantMap childrenByKey(const XMLElement &element,
                          const std::function<QVariant(const XMLElement &)> &valueOf) {
    QVariantMap values;
    for (const XMLElement &child : element.children)
        values.insert(child.key, valueOf(child));
    return values;
}

// A domain that can have SRV records: a host name, no address, port or path.
bool canHaveServiceRecords(const QString &domain) {
    if (domain.isEmpty() || domain.contains(QLatin1Char(':')) || domain.contains(QLatin1Char('/')))
        return false;
    return QHostAddress(domain).isNull();
}

}  // namespace

QString CalDAVClient::caldavKey(const char *name) {
    return PropertyKey::inNamespace(QLatin1String(name), QLatin1String(kCalDAVNamespace));
}

QString CalDAVClient::calendarServerKey(const char *name) {
    return PropertyKey::inNamespace(QLatin1String(name), QLatin1String(kCalendarServerNamespace));
}

CalDAVClient::CalDAVClient(CalDAVClientDelegate *delegate) : WebDAVClient(delegate) {
    SharedResolvers &shared = sharedResolvers();
    QMutexLocker locker(&shared.mutex);
    m_systemResolver = shared.system;
    m_publicResolver = shared.publicServer;
    if (!m_systemResolver)
        m_systemResolver = std::make_shared<ResolvSRVResolver>();
    if (!m_publicResolver)
        m_publicResolver = std::make_shared<ResolvSRVResolver>(
            QHostAddress(QLatin1String(kPublicNameServer)), quint16(53));
}

CalDAVClient::~CalDAVClient() {
    m_lookup.waitForFinished();
}

void CalDAVClient::setSharedResolvers(std::shared_ptr<const SRVResolver> system,
                                      std::shared_ptr<const SRVResolver> publicServer) {
    SharedResolvers &shared = sharedResolvers();
    QMutexLocker locker(&shared.mutex);
    shared.system = std::move(system);
    shared.publicServer = std::move(publicServer);
}

// --- Service discovery ---------------------------------------------------------------

void CalDAVClient::serviceDiscoveryForDomain(const QString &domain) {
    if (m_serviceDiscoveryRunning)
        return;
    m_serviceDiscoveryRunning = true;
    const int generation = ++m_discoveryGeneration;
    const std::shared_ptr<const SRVResolver> system = m_systemResolver;
    const std::shared_ptr<const SRVResolver> publicServer = m_publicResolver;
    m_lookup = QtConcurrent::run([this, domain, system, publicServer, generation] {
        const FoundService result = canHaveServiceRecords(domain)
                                        ? lookupService(domain, *system, *publicServer)
                                        : FoundService();
        // The client outlives the lookup (its destructor waits), and a call
        // queued to a client deleted meanwhile is dropped.
        QMetaObject::invokeMethod(
            this, [this, result, generation] { serviceDiscoveryFinished(result, generation); },
            Qt::QueuedConnection);
    });
}

CalDAVClient::FoundService CalDAVClient::lookupService(const QString &domain,
                                                       const SRVResolver &system,
                                                       const SRVResolver &publicServer) {
    const QString secure = QStringLiteral("_caldavs._tcp.") + domain;
    const QString plain = QStringLiteral("_caldav._tcp.") + domain;
    // The public server is asked twice for the plain record: a first answer
    // counts as SSL, a second one as plain.
    const struct {
        const SRVResolver *resolver;
        const QString *name;
        bool ssl;
    } attempts[] = {{&system, &secure, true},
                    {&system, &plain, false},
                    {&publicServer, &plain, true},
                    {&publicServer, &plain, false}};
    for (const auto &attempt : attempts) {
        if (const std::optional<SRVRecord> record =
                SRVResolver::bestRecord(attempt.resolver->lookupSRV(*attempt.name)))
            return {true, record->target, attempt.ssl, record->port};
    }
    return {};
}

void CalDAVClient::serviceDiscoveryFinished(const FoundService &result, int generation) {
    if (generation != m_discoveryGeneration)
        return;
    m_serviceDiscoveryRunning = false;
    auto *owner = dynamic_cast<CalDAVClientDelegate *>(delegate());
    if (!owner)
        return;
    if (result.found)
        owner->caldavClientFoundService(*this, result.host, result.ssl, result.port);
    else
        owner->caldavClientDidNotFindService(*this);
}

void CalDAVClient::cleanup() {
    m_lookup.waitForFinished();
    if (m_serviceDiscoveryRunning) {
        m_serviceDiscoveryRunning = false;
        ++m_discoveryGeneration;
    }
    WebDAVClient::cleanup();
}

// --- Properties ----------------------------------------------------------------------

QVariant CalDAVClient::valueForElement(const XMLElement &element, const QString &property) const {
    static const QStringList hrefLists{caldavKey("calendar-home-set"),
                                       caldavKey("calendar-user-address-set")};
    static const QStringList firstHrefs{
        caldavKey("schedule-inbox-URL"), caldavKey("schedule-outbox-URL"), caldavKey("recipient"),
        caldavKey("managed-attachments-server-URL"), calendarServerKey("notification-URL")};
    static const QStringList firstChildKeys{caldavKey("schedule-calendar-transp"),
                                            calendarServerKey("access")};
    if (hrefLists.contains(property))
        return hrefTexts(element);
    if (firstHrefs.contains(property)) {
        const XMLElement *href = element.child(QStringLiteral("href"));
        return href ? QVariant(href->text) : QVariant();
    }
    if (firstChildKeys.contains(property)) {
        const QStringList keys = element.childKeys();
        return keys.isEmpty() ? QVariant() : QVariant(keys.first());
    }
    if (property == caldavKey("supported-calendar-component-set"))
        return attributeOfChildren(element, caldavKey("comp"), "name");
    if (property == caldavKey("supported-calendar-component-sets")) {
        QVariantList sets;
        const QString setKey = caldavKey("supported-calendar-component-set");
        for (const XMLElement *set : element.childrenWithKey(setKey))
            sets.append(valueForElement(*set, setKey));
        return sets;
    }
    if (property == calendarServerKey("allowed-sharing-modes"))
        return element.childKeys();
    if (property == calendarServerKey("changes"))
        return attributeOfChildren(element, calendarServerKey("changed-property"), "name");
    if (const std::optional<QVariant> value = calendarServerValue(element, property))
        return *value;
    if (property == caldavKey("schedule-response")) {
        QVariantList responses;
        for (const XMLElement *response : element.childrenWithKey(caldavKey("response")))
            responses.append(childrenByKey(*response, [this](const XMLElement &child) {
                return valueForElement(child, child.key);
            }));
        return responses;
    }
    if (property == caldavKey("calendar-data"))
        return QVariantMap{{QStringLiteral("ics"), element.text}};
    const QString googleError =
        PropertyKey::inNamespace(QStringLiteral("error"), QLatin1String(kGoogleDataNamespace));
    if (property == googleError) {
        const XMLElement *code = element.child(
            PropertyKey::inNamespace(QStringLiteral("code"), QLatin1String(kGoogleDataNamespace)));
        return code ? QVariant(code->text) : QVariant();
    }
    return WebDAVClient::valueForElement(element, property);
}

std::optional<QVariant> CalDAVClient::calendarServerValue(const XMLElement &element,
                                                          const QString &property) const {
    static const QStringList proxies{calendarServerKey("calendar-proxy-write-for"),
                                     calendarServerKey("calendar-proxy-read-for")};
    static const QStringList textRecords{calendarServerKey("notificationtype"),
                                         calendarServerKey("created-by"),
                                         calendarServerKey("updated-by")};
    static const QStringList records{calendarServerKey("user"),
                                     calendarServerKey("organizer"),
                                     calendarServerKey("notification"),
                                     calendarServerKey("invite-notification"),
                                     calendarServerKey("invite-reply"),
                                     calendarServerKey("resource-update-notification"),
                                     calendarServerKey("shared-update-notification"),
                                     calendarServerKey("resource-changed"),
                                     calendarServerKey("created"),
                                     calendarServerKey("updated"),
                                     calendarServerKey("deleted"),
                                     calendarServerKey("collection-changes"),
                                     calendarServerKey("changed-by"),
                                     calendarServerKey("deleted-details"),
                                     calendarServerKey("calendar-changes"),
                                     calendarServerKey("recurrence")};
    const auto parsed = [this](const XMLElement &child) {
        return valueForElement(child, child.key);
    };
    if (proxies.contains(property))
        return responseDictionaries(element);
    if (property == calendarServerKey("push-transports")) {
        QVariantMap transports;
        const QString transportKey = calendarServerKey("transport");
        for (const XMLElement *transport : element.childrenWithKey(transportKey))
            transports.insert(transport->attributes.value(QStringLiteral("type")),
                              valueForElement(*transport, transportKey));
        return transports;
    }
    if (property == calendarServerKey("transport"))
        return childrenByKey(element, parsed);
    if (textRecords.contains(property))
        return childrenByKey(element, [](const XMLElement &child) { return child.text; });
    if (property == calendarServerKey("invite")) {
        QVariantList users;
        const QString userKey = calendarServerKey("user");
        for (const XMLElement *user : element.childrenWithKey(userKey))
            users.append(valueForElement(*user, userKey));
        return users;
    }
    if (records.contains(property))
        return childrenByKey(element, [&parsed](const XMLElement &child) {
            if (child.children.empty() && child.text.isEmpty())
                return QVariant(QString(QLatin1String("")));
            return parsed(child);
        });
    return std::nullopt;
}

std::optional<QVariantMap> CalDAVClient::notificationDictFromXMLData(const QByteArray &data) const {
    QString error;
    const std::optional<XMLElement> root = XMLElement::parseDocument(data, error);
    if (!root) {
        logWarning("CalDAVClient: error processing notification %@ (%@)", error,
                   QString::fromUtf8(data.left(1000)));
        return std::nullopt;
    }
    return childrenByKey(
        *root, [this](const XMLElement &child) { return valueForElement(child, child.key); });
}

QString CalDAVClient::userNameFromChangedByDict(const QVariantMap &changedBy) {
    const auto text = [&changedBy](const char *name) {
        return changedBy.value(calendarServerKey(name)).toString();
    };
    if (!text("common-name").isEmpty())
        return text("common-name");
    if (!text("first-name").isEmpty())
        return text("last-name").isEmpty()
                   ? text("first-name")
                   : text("first-name") + QStringLiteral(" %1").arg(text("last-name"));
    if (!text("email-address").isEmpty())
        return text("email-address");
    const QString href = changedBy.value(QStringLiteral("href")).toString();
    if (href.startsWith(QLatin1String("mailto:"), Qt::CaseInsensitive))
        return href.mid(7);
    return href.section(QLatin1Char('/'), -1, -1, QString::SectionSkipEmpty);
}

// --- Requests ------------------------------------------------------------------------

namespace {

QVariantMap caldavPropertyDict(const QString &key, const QVariantList &children = {}) {
    QVariantMap dict{{QStringLiteral("property"), key}};
    if (!children.isEmpty())
        dict.insert(QStringLiteral("sub properties"), children);
    return dict;
}

QVariantList propertyDictsOf(const QStringList &properties) {
    QVariantList dicts;
    for (const QString &property : properties)
        dicts.append(caldavPropertyDict(property));
    return dicts;
}

}  // namespace

void CalDAVClient::mkcalendar(const QString &url, const QVariantMap &propertyValues) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("MKCALENDAR"), std::nullopt);
    setXMLContentType(request);
    setDetailedLogging(true);
    XMLBodyWriter writer(caldavKey("mkcalendar"), keysOfPropertyValues(propertyValues));
    writer.startElement(QStringLiteral("set"));
    writer.startElement(QStringLiteral("prop"));
    writePropertyValues(writer, propertyValues);
    sendRequest(request, writer.finish());
}

void CalDAVClient::put(const QString &url, const std::optional<QString> &etag,
                       const std::optional<QString> &scheduleTag, const QByteArray &vcalendarData) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("PUT"), etag);
    request.setRawHeader("Content-Type", "text/calendar");
    if (scheduleTag) {
        request.setRawHeader("If-Match", QByteArray());
        request.setRawHeader("If-Schedule-Tag-Match", scheduleTag->toUtf8());
    }
    setDetailedLogging(true);
    sendRequest(request, vcalendarData);
}

void CalDAVClient::calendarQueryReport(const QString &url, int depth,
                                       const QVariantList &propertyDicts,
                                       const QVariantList &filterDicts) {
    QVariantList dicts;
    if (!propertyDicts.isEmpty())
        dicts.append(caldavPropertyDict(QStringLiteral("prop"), propertyDicts));
    if (!filterDicts.isEmpty())
        dicts.append(caldavPropertyDict(caldavKey("filter"), filterDicts));
    report(caldavKey("calendar-query"), url, depth, dicts, std::nullopt, QString());
}

void CalDAVClient::calendarMultigetReport(const QString &url, const QStringList &properties,
                                          const QStringList &urls) {
    QVariantList dicts;
    if (!properties.isEmpty())
        dicts.append(caldavPropertyDict(QStringLiteral("prop"), propertyDictsOf(properties)));
    for (const QString &href : urls)
        dicts.append(QVariantMap{{QStringLiteral("property"), QStringLiteral("href")},
                                 {QStringLiteral("value"), href}});
    setDetailedLogging(true);
    report(caldavKey("calendar-multiget"), url, -1, dicts, std::nullopt, QString());
}

void CalDAVClient::freeBusyQueryReport(const QString &url, int depth, Date start, Date end) {
    const QVariantMap range{
        {QStringLiteral("property"), caldavKey("time-range")},
        {QStringLiteral("attributes"),
         QVariantMap{{QStringLiteral("start"), iCalendarStringFromDate(start).value_or(QString())},
                     {QStringLiteral("end"), iCalendarStringFromDate(end).value_or(QString())}}}};
    report(caldavKey("free-busy-query"), url, depth, {range}, std::nullopt, QString());
}

void CalDAVClient::publishCalendar(const QString &url) {
    WebDAVClient::post(calendarServerKey("publish-calendar"), url, {});
}

void CalDAVClient::unpublishCalendar(const QString &url) {
    WebDAVClient::post(calendarServerKey("unpublish-calendar"), url, {});
}

void CalDAVClient::shareCalendar(const QString &url, const QVariantList &setUsers,
                                 const QVariantList &removeUsers) {
    QVariantList dicts;
    for (const QVariant &entry : setUsers) {
        const QVariantMap user = entry.toMap();
        QVariantList children;
        for (const QString &key : {QStringLiteral("href"), calendarServerKey("common-name"),
                                   calendarServerKey("summary")})
            if (user.contains(key))
                children.append(QVariantMap{{QStringLiteral("property"), key},
                                            {QStringLiteral("value"), user.value(key)}});
        const QString access = user.value(calendarServerKey("access")).toString();
        if (!access.isEmpty())
            children.append(caldavPropertyDict(access));
        dicts.append(caldavPropertyDict(calendarServerKey("set"), children));
    }
    for (const QVariant &entry : removeUsers)
        dicts.append(caldavPropertyDict(
            calendarServerKey("remove"),
            {QVariantMap{{QStringLiteral("property"), QStringLiteral("href")},
                         {QStringLiteral("value"), entry.toMap().value(QStringLiteral("href"))}}}));
    WebDAVClient::post(calendarServerKey("share"), url, dicts);
}

void CalDAVClient::replyToInvitation(const QString &url, const QVariantMap &invite, bool accept) {
    const auto textDict = [](const QString &key, const QVariant &value) {
        return QVariantMap{{QStringLiteral("property"), key}, {QStringLiteral("value"), value}};
    };
    const QVariant host = invite.value(calendarServerKey("hosturl"));
    const QString hostHref = host.typeId() == QMetaType::QVariantMap
                                 ? host.toMap().value(QStringLiteral("href")).toString()
                                 : host.toString();
    QVariantList dicts{
        textDict(calendarServerKey("in-reply-to"), invite.value(calendarServerKey("uid"))),
        textDict(QStringLiteral("href"), invite.value(QStringLiteral("href"))),
        caldavPropertyDict(calendarServerKey(accept ? "invite-accepted" : "invite-declined")),
        caldavPropertyDict(calendarServerKey("hosturl"),
                           {textDict(QStringLiteral("href"), hostHref)})};
    if (invite.contains(calendarServerKey("summary")))
        dicts.append(
            textDict(calendarServerKey("summary"), invite.value(calendarServerKey("summary"))));
    WebDAVClient::post(calendarServerKey("invite-reply"), url, dicts);
}

void CalDAVClient::stopSharingCalendar(const QString &url) {
    proppatch(url, {{QStringLiteral("resourcetype"),
                     QStringList{QStringLiteral("collection"), caldavKey("calendar")}}});
}

void CalDAVClient::setDefaultSchedulingCalendar(const QString &inboxURL, const QString &href) {
    proppatch(inboxURL, {{caldavKey("schedule-default-calendar-URL"), href}});
}

void CalDAVClient::post(const QString &url, const QString &type, const QByteArray &data,
                        const HeadersAndKeys &headersAndKeys, bool detailedLogging) {
    setDetailedLogging(detailedLogging);
    WebDAVClient::post(url, type, data, headersAndKeys);
}

QStringList CalDAVClient::keysOfPropertyValues(const QVariantMap &propertyValues) const {
    QStringList keys = WebDAVClient::keysOfPropertyValues(propertyValues);
    if (propertyValues.contains(caldavKey("supported-calendar-component-set")))
        keys.append(caldavKey("comp"));
    const QString transparency = caldavKey("schedule-calendar-transp");
    if (propertyValues.contains(transparency))
        keys.append(propertyValues.value(transparency).toString());
    return keys;
}

void CalDAVClient::writeElementForProperty(XMLBodyWriter &writer, const QString &key,
                                           const QVariant &value) const {
    if (key == caldavKey("calendar-description")) {
        writer.startElement(key);
        const QStringList languages = QLocale::system().uiLanguages();
        if (!languages.isEmpty())
            writer.attribute(QStringLiteral("xml:lang"), languages.first().toLower());
        writer.text(value.toString());
        writer.endElement();
    } else if (key == caldavKey("schedule-calendar-transp")) {
        writer.startElement(key);
        writer.emptyElement(value.toString());
        writer.endElement();
    } else if (key == caldavKey("supported-calendar-component-set")) {
        writer.startElement(key);
        for (const QString &component : value.toStringList()) {
            writer.emptyElement(caldavKey("comp"));
            writer.attribute(QStringLiteral("name"), component.toUpper());
        }
        writer.endElement();
    } else if (key == calendarServerKey("source") ||
               key == caldavKey("schedule-default-calendar-URL")) {
        writer.startElement(key);
        writer.textElement(QStringLiteral("href"), value.toString());
        writer.endElement();
    } else {
        WebDAVClient::writeElementForProperty(writer, key, value);
    }
}
