#pragma once

#include <QHash>
#include <QString>
#include <memory>

#include "model/ServiceEngine.h"

class CalDAVEngine;
class ExchangeEngine;
class ModelObject;

// The registry of service engines, keyed by the `serviceName` of the kind
// they sync. The sync code registers its engines at start-up; the object
// model asks the registry for the engine of a calendar's owner. A kind
// without an engine answers nothing, and the model then treats the calendar
// as one of an unknown kind. Main thread only.
class ServiceEngines {
public:
    // The registry in use: the process-wide one unless a test installed
    // another (nullptr restores the process-wide one).
    static ServiceEngines &shared();
    static void setShared(ServiceEngines *registry);

    // Replaces the engine of the kind; a null engine removes it.
    void registerEngine(const QString &serviceName, std::shared_ptr<ServiceEngine> engine);
    ServiceEngine *engineForName(const QString &serviceName) const;
    // The engine of the service's kind, or nullptr (no service, or no engine).
    const ServiceEngine *engineFor(const ModelObject *service) const;

    // The engine of the service's kind when `service` is a CalDAV / Exchange
    // account and that engine is registered; nullptr otherwise.
    const CalDAVEngine *calDAVEngineFor(const ModelObject *service) const;
    const ExchangeEngine *exchangeEngineFor(const ModelObject *service) const;

private:
    template <typename Engine>
    const Engine *engineOfKind(const ModelObject *service, const char *kind) const;

    QHash<QString, std::shared_ptr<ServiceEngine>> m_engines;
};
