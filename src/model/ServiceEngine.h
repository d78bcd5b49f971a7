#pragma once

// What the object model may ask of the code that syncs one kind of service
// (CalDAV, Exchange, …). The model never links that code: each kind's engine
// registers itself in ServiceEngines under its `serviceName`, and the model
// asks through the kind-specific interfaces (CalDAVEngine, ExchangeEngine).
class ServiceEngine {
public:
    virtual ~ServiceEngine() = default;
};
