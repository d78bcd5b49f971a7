#pragma once

#include <QList>

class ModelObject;

// What the object model may ask of the code that syncs one kind of service
// (CalDAV, Exchange, …). The model never links that code: each kind's engine
// registers itself in ServiceEngines under its `serviceName`, and the model
// asks through the kind-specific interfaces (CalDAVEngine, ExchangeEngine).
//
// Questions every kind can answer have answers here for kinds whose services
// stand alone.
class ServiceEngine {
public:
    virtual ~ServiceEngine() = default;

    // The service this one was found through (a calendar subscription that a
    // CalDAV account keeps on its server belongs to that account), or
    // nullptr.
    virtual ModelObject *parentService(const ModelObject * /*service*/) const { return nullptr; }
    // The services found through this one; they go when it goes.
    virtual QList<ModelObject *> childServices(const ModelObject * /*service*/) const { return {}; }
};
