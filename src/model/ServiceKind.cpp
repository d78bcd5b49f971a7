#include "model/ServiceKind.h"

#include "model/ModelObject.h"

QString ServiceKind::of(const ModelObject *service) {
    return service ? service->valueForKey(QStringLiteral("serviceName")).toString() : QString();
}

bool ServiceKind::is(const ModelObject *service, const char *kind) {
    return service && of(service) == QLatin1String(kind);
}
