#include "caldav/CalDAVServiceInfo.h"

#include <QStringList>
#include <QUrl>
#include <functional>

#include "model/ModelObject.h"

namespace {

const QString &syncDataKey() {
    static const QString key = QStringLiteral("syncData");
    return key;
}

bool serviceURLContains(const ModelObject *service, const QString &text) {
    return service->valueForKey(QStringLiteral("url"))
        .toString()
        .contains(text, Qt::CaseInsensitive);
}

bool hasDAVClass(const ModelObject *service, const char *davClass) {
    return CalDAVServiceInfo::davHeaderForService(service)
        .split(QLatin1Char(','))
        .contains(QLatin1String(davClass));
}

QString serverKindOf(const ModelObject *service) {
    return CalDAVServiceInfo::syncDataForService(service)
        .value(QStringLiteral("server"))
        .toString();
}

bool startsWithMailTo(const QString &address) {
    return address.startsWith(QLatin1String("mailto:"), Qt::CaseInsensitive);
}

// The first address that `accept` takes, or none.
std::optional<QString> firstAddress(const QStringList &addresses,
                                    const std::function<bool(const QString &)> &accept) {
    for (const QString &address : addresses)
        if (accept(address))
            return address;
    return std::nullopt;
}

}  // namespace

namespace CalDAVServiceInfo {

QVariantMap syncDataForService(const ModelObject *service) {
    return service->unarchivedValueForKey(syncDataKey()).toMap();
}

void setArchivedSyncData(const QVariantMap &syncData, ModelObject *service) {
    service->setArchivedValue(syncData, syncDataKey());
}

std::optional<QString> serverAddress(const ModelObject *service) {
    QString address = service->valueForKey(QStringLiteral("urlAlternate")).toString();
    if (address.isEmpty())
        return std::nullopt;
    if (!address.startsWith(QLatin1String("http"), Qt::CaseInsensitive) &&
        address.contains(QLatin1Char('/')))
        address.prepend(QLatin1String("https://"));
    return address;
}

QString urlForDomain(const QString &domain, const QString &path, quint16 port, bool ssl) {
    if (path.startsWith(QLatin1String("http"), Qt::CaseInsensitive))
        return path;
    const bool standardPort = ssl ? port == 443 : port == 80;
    return QStringLiteral("%1://%2%3%4")
        .arg(ssl ? QStringLiteral("https") : QStringLiteral("http"), domain,
             standardPort ? QString() : QStringLiteral(":%1").arg(port), path);
}

std::optional<QString> serverKindOfResponse(const WebDAVResponse &response) {
    if (response.headerValue(QStringLiteral("X-DAViCal-Version")))
        return QStringLiteral("DAViCal");
    const QString server = response.headerValue(QStringLiteral("Server")).value_or(QString());
    if (server.contains(QLatin1String("CalendarServer/3")))
        return QStringLiteral("LionServer");
    if (server.contains(QLatin1String("CalendarServer")) ||
        server.contains(QLatin1String("Twisted")))
        return QStringLiteral("iCalServer");
    return std::nullopt;
}

QString appendToDAVHeader(const QString &stored, const QString &header, bool yahoo) {
    QStringList classes = stored.split(QLatin1Char(','), Qt::SkipEmptyParts);
    QString added = header;
    added.remove(QLatin1Char(' '));
    for (const QString &davClass : added.split(QLatin1Char(','), Qt::SkipEmptyParts))
        if (!classes.contains(davClass))
            classes.append(davClass);
    if (yahoo)
        classes.removeAll(QStringLiteral("calendar-schedule"));
    return classes.join(QLatin1Char(','));
}

bool isGoogleCalDAV(const ModelObject *service) {
    return serviceURLContains(service, QStringLiteral("google"));
}

bool isYahooCalDAV(const ModelObject *service) {
    return serviceURLContains(service, QLatin1String(kYahooDomain));
}

bool isOracleCalDAV(const ModelObject *service) {
    return serviceURLContains(service, QLatin1String(kOracleName));
}

bool isICloudCalDAV(const ModelObject *service) {
    return serviceURLContains(service, QLatin1Char('.') + QLatin1String(kICloudDomain));
}

bool isDAViCalCalDAV(const ModelObject *service) {
    return serverKindOf(service) == QLatin1String("DAViCal");
}

bool isLionServerCalDAV(const ModelObject *service) {
    return serverKindOf(service) == QLatin1String("LionServer");
}

bool isICalServerCalDAV(const ModelObject *service) {
    const QString kind = serverKindOf(service);
    return kind == QLatin1String("iCalServer") || kind == QLatin1String("LionServer");
}

CalDAVEngine::ServerType serverType(const ModelObject *service) {
    QString address = service->valueForKey(QStringLiteral("url")).toString();
    if (address.isEmpty())
        address = service->valueForKey(QStringLiteral("urlAlternate")).toString();
    const auto names = [&address](const QString &domain) {
        return address.contains(domain, Qt::CaseInsensitive);
    };
    if (names(QLatin1String(kICloudDomain)))
        return CalDAVEngine::ServerType::ICloud;
    if (names(QStringLiteral("google")))
        return CalDAVEngine::ServerType::Google;
    if (names(QLatin1String(kYahooDomain)))
        return CalDAVEngine::ServerType::Yahoo;
    if (names(QLatin1String(kFruuxDomain)))
        return CalDAVEngine::ServerType::Fruux;
    return CalDAVEngine::ServerType::Generic;
}

bool supportsFreeBusy(const ModelObject *service) {
    return !isICloudCalDAV(service);
}

bool supportsScheduleAgent(const ModelObject *service) {
    return isICloudCalDAV(service);
}

bool supportsAttachments(const ModelObject *service) {
    return service && !isGoogleCalDAV(service) && !isYahooCalDAV(service) &&
           !isOracleCalDAV(service);
}

bool serverIssuesEmailAlarms(const ModelObject *service) {
    return isGoogleCalDAV(service);
}

bool supportsPublishing(const ModelObject *service) {
    const CalDAVEngine::ServerType type = serverType(service);
    return type == CalDAVEngine::ServerType::Fruux || type == CalDAVEngine::ServerType::ICloud;
}

bool supportsProxies(const ModelObject *service) {
    const CalDAVEngine::ServerType type = serverType(service);
    return type != CalDAVEngine::ServerType::Google && type != CalDAVEngine::ServerType::Yahoo &&
           type != CalDAVEngine::ServerType::Fruux && hasDAVClass(service, "calendar-proxy");
}

bool supportsAutoScheduling(const ModelObject *service) {
    return hasDAVClass(service, "calendar-auto-schedule");
}

bool supportsOldScheduling(const ModelObject *service) {
    return hasDAVClass(service, "calendar-schedule");
}

bool supportsAnyScheduling(const ModelObject *service) {
    return supportsAutoScheduling(service) || supportsOldScheduling(service);
}

bool supportsWebDAVSubscription(const ModelObject *service) {
    return hasDAVClass(service, "calendarserver-subscribed");
}

bool supportsSharing(const ModelObject *service) {
    return hasDAVClass(service, "calendarserver-sharing");
}

bool supportsAvailability(const ModelObject *service) {
    return hasDAVClass(service, "calendar-availability");
}

bool supportsManagedAttachments(const ModelObject *service) {
    return hasDAVClass(service, "calendar-managed-attachments");
}

bool attendeeMustMatchUser(const ModelObject *service) {
    if (isGoogleCalDAV(service))
        return true;
    if (davHeaderForService(service).isEmpty())
        return false;
    return supportsOldScheduling(service) && !supportsAutoScheduling(service);
}

bool oldOutboxBrokenForCancel(const ModelObject *service) {
    return isGoogleCalDAV(service);
}

QString davHeaderForService(const ModelObject *service) {
    return syncDataForService(service).value(QStringLiteral("dav")).toString();
}

QString principalPathForService(const ModelObject *service) {
    return syncDataForService(service).value(QStringLiteral("current-user-principal")).toString();
}

QStringList userAddressesForCalDAVService(const ModelObject *service) {
    return syncDataForService(service)
        .value(QStringLiteral("urn:ietf:params:xml:ns:caldav calendar-user-address-set"))
        .toStringList();
}

QString serverDomainForCalDAVService(const ModelObject *service) {
    return QUrl(service->valueForKey(QStringLiteral("url")).toString()).host();
}

std::optional<QString> bestUserAddressFromSet(const QStringList &addresses, const QStringList &omit,
                                              const std::optional<QString> &preferMailToWithLogin) {
    std::optional<QString> candidate;
    if (preferMailToWithLogin) {
        const QString &login = *preferMailToWithLogin;
        candidate = firstAddress(addresses, [&login](const QString &address) {
            return startsWithMailTo(address) && address.contains(login, Qt::CaseInsensitive);
        });
        if (!candidate)
            candidate = firstAddress(addresses, startsWithMailTo);
    }
    if (!candidate)
        candidate = firstAddress(addresses, [](const QString &address) {
            return address.startsWith(QLatin1String("urn:uuid:"), Qt::CaseInsensitive) ||
                   address.startsWith(QLatin1String("urn:x-uid:"), Qt::CaseInsensitive);
        });
    if (!candidate)
        candidate = firstAddress(addresses, startsWithMailTo);
    if (!candidate)
        candidate = firstAddress(
            addresses, [](const QString &address) { return address.startsWith(QLatin1Char('/')); });
    if (!candidate || omit.contains(*candidate, Qt::CaseInsensitive))
        return std::nullopt;
    return startsWithMailTo(*candidate) ? candidate->mid(7) : *candidate;
}

std::optional<QString> bestUserAddressForCalDAVService(const ModelObject *service) {
    std::optional<QString> login;
    if (isICloudCalDAV(service))
        login = service->unmaskedStringValueForKey(QStringLiteral("login")).value_or(QString());
    return bestUserAddressFromSet(userAddressesForCalDAVService(service), {}, login);
}

}  // namespace CalDAVServiceInfo
