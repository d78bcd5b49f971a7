#include "model/ServiceEngines.h"

#include "model/CalDAVEngine.h"
#include "model/ExchangeEngine.h"
#include "model/ServiceKind.h"

namespace {
ServiceEngines *g_installedEngines = nullptr;
}  // namespace

ServiceEngines &ServiceEngines::shared() {
    static ServiceEngines processRegistry;
    return g_installedEngines ? *g_installedEngines : processRegistry;
}

void ServiceEngines::setShared(ServiceEngines *registry) {
    g_installedEngines = registry;
}

void ServiceEngines::registerEngine(const QString &serviceName,
                                    std::shared_ptr<ServiceEngine> engine) {
    if (engine)
        m_engines.insert(serviceName, std::move(engine));
    else
        m_engines.remove(serviceName);
}

ServiceEngine *ServiceEngines::engineForName(const QString &serviceName) const {
    return m_engines.value(serviceName).get();
}

const ServiceEngine *ServiceEngines::engineFor(const ModelObject *service) const {
    return service ? engineForName(ServiceKind::of(service)) : nullptr;
}

template <typename Engine>
const Engine *ServiceEngines::engineOfKind(const ModelObject *service, const char *kind) const {
    if (!ServiceKind::is(service, kind))
        return nullptr;
    return dynamic_cast<const Engine *>(engineForName(QString::fromLatin1(kind)));
}

const CalDAVEngine *ServiceEngines::calDAVEngineFor(const ModelObject *service) const {
    return engineOfKind<CalDAVEngine>(service, ServiceKind::kCalDAV);
}

const ExchangeEngine *ServiceEngines::exchangeEngineFor(const ModelObject *service) const {
    return engineOfKind<ExchangeEngine>(service, ServiceKind::kExchange);
}
