#include "time/TimeResources.h"

#include <QFile>

#include "model/foundation/Log.h"
#include "model/foundation/PropertyList.h"

// Resources of a static library are registered only when asked for.
static void registerTimeResources() {
    Q_INIT_RESOURCE(time);
}

namespace TimeResources {

QVariant propertyList(const QString &name) {
    static const bool registered = (registerTimeResources(), true);
    Q_UNUSED(registered);
    QFile file(QStringLiteral(":/time/%1.plist").arg(name));
    if (!file.open(QIODevice::ReadOnly)) {
        logError("TimeResources: missing resource %@.plist", name);
        return {};
    }
    QString error;
    QVariant value = PropertyList::fromData(file.readAll(), &error);
    if (!value.isValid())
        logError("TimeResources: unreadable resource %@.plist: %@", name, error);
    return value;
}

}  // namespace TimeResources
