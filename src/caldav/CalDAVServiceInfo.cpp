#include "caldav/CalDAVServiceInfo.h"

#include <QStringList>

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

bool isICloudCalDAV(const ModelObject *service) {
    return serviceURLContains(service, QLatin1Char('.') + QLatin1String(kICloudDomain));
}

}  // namespace CalDAVServiceInfo
