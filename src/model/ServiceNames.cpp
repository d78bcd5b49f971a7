#include "model/ServiceNames.h"

#include <QLocale>

#include "model/CalDAVEngine.h"
#include "model/ExchangeEngine.h"
#include "model/ModelObject.h"
#include "model/ServiceEngines.h"
#include "model/ServiceKind.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Format.h"

namespace {
constexpr double kNeverAfterSeconds = 86400000;

QString stringFor(const ModelObject *service, const char *key) {
    return service->valueForKey(QString::fromLatin1(key)).toString();
}

QString calDAVProvider(CalDAVEngine::ServerType type) {
    switch (type) {
        case CalDAVEngine::ServerType::ICloud:
            return QStringLiteral("iCloud");
        case CalDAVEngine::ServerType::Google:
            return QStringLiteral("Google");
        case CalDAVEngine::ServerType::Fruux:
            return QStringLiteral("Fruux");
        case CalDAVEngine::ServerType::Yahoo:
            return QStringLiteral("Yahoo!");
        case CalDAVEngine::ServerType::Generic:
            break;
    }
    return QString();
}

QString relativeDay(const QDate &day, const QDate &today, const QLocale &locale) {
    const qint64 offset = today.daysTo(day);
    if (offset == 0)
        return QStringLiteral("today");
    if (offset == -1)
        return QStringLiteral("yesterday");
    if (offset == 1)
        return QStringLiteral("tomorrow");
    return locale.toString(day, QLocale::ShortFormat);
}
}  // namespace

bool ServiceNames::serviceWasAddedManually(const ModelObject *service) {
    if (ServiceKind::is(service, ServiceKind::kBonjourSubscribe))
        return !stringFor(service, "urlAlternate").isEmpty();
    return !ServiceKind::is(service, ServiceKind::kBirthdays);
}

QString ServiceNames::providerName(const ModelObject *service) {
    const ServiceEngines &engines = ServiceEngines::shared();
    if (ServiceKind::is(service, ServiceKind::kCalDAV)) {
        const CalDAVEngine *engine = engines.calDAVEngineFor(service);
        const QString provider = engine ? calDAVProvider(engine->serverType(service)) : QString();
        if (!provider.isEmpty())
            return provider;
        const QString login =
            service->unmaskedStringValueForKey(QStringLiteral("login")).value_or(QString());
        return login.isEmpty() ? QStringLiteral("CalDAV") : login;
    }
    const ExchangeEngine *exchange = engines.exchangeEngineFor(service);
    return exchange && exchange->serverType(service) == ExchangeEngine::ServerType::Office365
               ? QStringLiteral("Office 365")
               : QStringLiteral("Exchange");
}

// The Bonjour URL is "<domain>:<name>"; the direct address is
// "<name>/<address>:<port>".
QString ServiceNames::peerName(const ModelObject *service) {
    const QString url = stringFor(service, "url");
    const qsizetype colon = url.indexOf(QLatin1Char(':'));
    const QString name = colon < 0 ? url : url.mid(colon + 1);
    const QString alternate = stringFor(service, "urlAlternate");
    if (alternate.isEmpty())
        return name;
    const QString hostAndPort = alternate.mid(alternate.indexOf(QLatin1Char('/')) + 1);
    const qsizetype portColon = hostAndPort.lastIndexOf(QLatin1Char(':'));
    return format("%@/%@", name, portColon < 0 ? hostAndPort : hostAndPort.left(portColon));
}

QString ServiceNames::nameForService(const ModelObject *service) {
    if (service->entityName() == QLatin1String("BonjourPublisher"))
        return QStringLiteral("LAN");
    if (const QString title = stringFor(service, "title"); !title.isEmpty())
        return title;
    const QString kind = ServiceKind::of(service);
    if (kind == QLatin1String(ServiceKind::kCalDAV) ||
        kind == QLatin1String(ServiceKind::kExchange))
        return providerName(service);
    if (kind == QLatin1String(ServiceKind::kBonjourSubscribe))
        return peerName(service);
    if (kind == QLatin1String(ServiceKind::kWebDAVSubscribe))
        return QStringLiteral("WebDAV");
    if (kind == QLatin1String(ServiceKind::kBirthdays))
        return QStringLiteral("Contacts");
    return format("<%@>", kind);
}

QString ServiceNames::lastSyncString(const ModelObject *service) {
    const char *text = ServiceKind::is(service, ServiceKind::kWebDAVSubscribe) ? "Last updated: %@"
                                                                               : "Last synced: %@";
    const Date now = Clock::shared().now();
    const std::optional<Date> last = service->dateValueForKey(QStringLiteral("lastSyncTime"));
    if (!last || now.secondsSince(*last) > kNeverAfterSeconds)
        return format(text, QStringLiteral("never"));
    const QLocale locale;
    const QDateTime when = last->toDateTime().toLocalTime();
    const QString day = relativeDay(when.date(), now.toDateTime().toLocalTime().date(), locale);
    return format(
        text,
        (day + QLatin1Char(' ') + locale.toString(when.time(), QLocale::ShortFormat)).toLower());
}
